#pragma once

#include <cstdint>

/// The numbers by which a key event names a key and the modifiers that are held. Both are those of
/// macOS on every host; a host with other numbers translates them where it sends the event.

/// Virtual key codes: each names a place on a US ANSI keyboard, not a character.
/// Source: the kVK_ constants of HIToolbox's Events.h, here under the same names.
namespace parlen::vk {

using KeyCode = std::uint16_t;

inline constexpr KeyCode ansiA = 0x00;
inline constexpr KeyCode ansiS = 0x01;
inline constexpr KeyCode ansiD = 0x02;
inline constexpr KeyCode ansiF = 0x03;
inline constexpr KeyCode ansiH = 0x04;
inline constexpr KeyCode ansiG = 0x05;
inline constexpr KeyCode ansiZ = 0x06;
inline constexpr KeyCode ansiX = 0x07;
inline constexpr KeyCode ansiC = 0x08;
inline constexpr KeyCode ansiV = 0x09;
inline constexpr KeyCode ansiB = 0x0B;
inline constexpr KeyCode ansiQ = 0x0C;
inline constexpr KeyCode ansiW = 0x0D;
inline constexpr KeyCode ansiE = 0x0E;
inline constexpr KeyCode ansiR = 0x0F;
inline constexpr KeyCode ansiY = 0x10;
inline constexpr KeyCode ansiT = 0x11;
inline constexpr KeyCode ansi1 = 0x12;
inline constexpr KeyCode ansi2 = 0x13;
inline constexpr KeyCode ansi3 = 0x14;
inline constexpr KeyCode ansi4 = 0x15;
inline constexpr KeyCode ansi6 = 0x16;
inline constexpr KeyCode ansi5 = 0x17;
inline constexpr KeyCode ansiEqual = 0x18;
inline constexpr KeyCode ansi9 = 0x19;
inline constexpr KeyCode ansi7 = 0x1A;
inline constexpr KeyCode ansiMinus = 0x1B;
inline constexpr KeyCode ansi8 = 0x1C;
inline constexpr KeyCode ansi0 = 0x1D;
inline constexpr KeyCode ansiRightBracket = 0x1E;
inline constexpr KeyCode ansiO = 0x1F;
inline constexpr KeyCode ansiU = 0x20;
inline constexpr KeyCode ansiLeftBracket = 0x21;
inline constexpr KeyCode ansiI = 0x22;
inline constexpr KeyCode ansiP = 0x23;
inline constexpr KeyCode ansiL = 0x25;
inline constexpr KeyCode ansiJ = 0x26;
inline constexpr KeyCode ansiQuote = 0x27;
inline constexpr KeyCode ansiK = 0x28;
inline constexpr KeyCode ansiSemicolon = 0x29;
inline constexpr KeyCode ansiBackslash = 0x2A;
inline constexpr KeyCode ansiComma = 0x2B;
inline constexpr KeyCode ansiSlash = 0x2C;
inline constexpr KeyCode ansiN = 0x2D;
inline constexpr KeyCode ansiM = 0x2E;
inline constexpr KeyCode ansiPeriod = 0x2F;
inline constexpr KeyCode ansiGrave = 0x32;

inline constexpr KeyCode returnKey = 0x24;  // `return` is a keyword
inline constexpr KeyCode tab = 0x30;
inline constexpr KeyCode space = 0x31;
inline constexpr KeyCode deleteKey = 0x33;  // backspace; `delete` is a keyword
inline constexpr KeyCode escape = 0x35;
inline constexpr KeyCode forwardDelete = 0x75;

inline constexpr KeyCode home = 0x73;
inline constexpr KeyCode end = 0x77;
inline constexpr KeyCode pageUp = 0x74;
inline constexpr KeyCode pageDown = 0x79;
inline constexpr KeyCode leftArrow = 0x7B;
inline constexpr KeyCode rightArrow = 0x7C;
inline constexpr KeyCode downArrow = 0x7D;
inline constexpr KeyCode upArrow = 0x7E;

// The modifier keys; those without a side in their name are the left-hand ones.
inline constexpr KeyCode command = 0x37;
inline constexpr KeyCode shift = 0x38;
inline constexpr KeyCode option = 0x3A;
inline constexpr KeyCode control = 0x3B;
inline constexpr KeyCode rightCommand = 0x36;
inline constexpr KeyCode rightShift = 0x3C;
inline constexpr KeyCode rightOption = 0x3D;
inline constexpr KeyCode rightControl = 0x3E;

}  // namespace parlen::vk

/// Bits of a key event's modifier flags, to be combined with `|`.
namespace parlen::modifier {

using Flags = std::uint64_t;

// A modifier of this kind is held, on either side.
// Source: NSEventModifierFlags in AppKit's NSEvent.h.
inline constexpr Flags shift = 1U << 17;
inline constexpr Flags control = 1U << 18;
inline constexpr Flags option = 1U << 19;
inline constexpr Flags command = 1U << 20;

// The left-hand key of the kind is held; a real key sets this bit with the one above.
// Source: NX_DEVICELCTLKEYMASK and its neighbours in IOKit's hidsystem/IOLLEvent.h.
inline constexpr Flags leftControlKey = 0x01;
inline constexpr Flags leftShiftKey = 0x02;
inline constexpr Flags leftCommandKey = 0x08;
inline constexpr Flags leftOptionKey = 0x20;

}  // namespace parlen::modifier
