#pragma once

namespace parlen {

// All in milliseconds. The bounds of the pause between strokes that a command may ask for:
inline constexpr int inputDelayMinMs = 20;
inline constexpr int inputDelayMaxMs = 1000;

/// How long a key stays down: a guest may miss a shorter press.
inline constexpr int inputKeyHoldMs = 40;
/// The pause after a stroke when the command asks for none.
inline constexpr int inputKeyGapMs = 60;
/// How long modifiers are held before the key goes down and after it has come up.
inline constexpr int inputModifierLeadMs = 40;

}  // namespace parlen
