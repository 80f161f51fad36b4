#pragma once

#include <gtk/gtk.h>

#include <memory>

#include "platform/key_event.h"

namespace parlen::gtk {

/// A press or a release of one key of the keyboard.
class KeyEvent final : public platform::KeyEvent {
 public:
  /// Null if the keyboard has no such key, or if a change of modifiers names a key that is none.
  static std::unique_ptr<platform::KeyEvent> make(const platform::KeyEventDetails& details);

  /// Gives the event to a widget that is on screen, wherever the toolkit's own focus may be.
  void deliverTo(GtkWidget* widget) const;

 private:
  KeyEvent(bool pressed, guint16 keycode, guint state)
      : pressed_(pressed), keycode_(keycode), state_(state) {}

  bool pressed_;
  guint16 keycode_;
  guint state_;
};

}  // namespace parlen::gtk
