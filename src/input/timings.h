#pragma once

namespace parlen {

// All in milliseconds.

/// The range of the pause between strokes that a command may ask for, both ends included.
inline constexpr int inputDelayMinMs = 20;
inline constexpr int inputDelayMaxMs = 1000;

/// How long a key is held down; a guest may miss a shorter press.
inline constexpr int inputKeyHoldMs = 40;
/// The default pause after a stroke.
inline constexpr int inputKeyGapMs = 60;
/// How long modifiers are held before the key goes down and after it has come up.
inline constexpr int inputModifierLeadMs = 40;

}  // namespace parlen
