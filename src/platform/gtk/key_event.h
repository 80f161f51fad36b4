#pragma once

#include <gtk/gtk.h>

#include <memory>

#include "platform/key_event.h"

namespace parlen::gtk {

/// A press or a release of one key of the keyboard.
class KeyEvent final : public platform::KeyEvent {
 public:
  /// Null for a key that a US keyboard does not have, and for a flagsChanged event whose key is no
  /// modifier.
  static std::unique_ptr<platform::KeyEvent> make(const platform::KeyEventDetails& details);

  /// Sends the event to `widget` if that is on screen, whichever widget has GTK's focus.
  void deliverTo(GtkWidget* widget) const;

 private:
  KeyEvent(bool pressed, guint16 keycode, guint state)
      : pressed_(pressed), keycode_(keycode), state_(state) {}

  bool pressed_;
  guint16 keycode_;
  guint state_;
};

}  // namespace parlen::gtk
