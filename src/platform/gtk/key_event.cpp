#include "platform/gtk/key_event.h"

#include "platform/gtk/evdev_codes.h"
#include "platform/key_codes.h"

namespace parlen::gtk {
namespace {

using platform::KeyEventDetails;
using platform::KeyEventType;

/// A flagsChanged event is a press if the flags afterwards have the key's own.
bool isPress(const KeyEventDetails& details) {
  if (details.type != KeyEventType::flagsChanged) return details.type == KeyEventType::keyDown;
  return (details.modifierFlags & modifierFlag(details.keyCode)) != 0;
}

/// GDK's state bits for the held modifiers. On X keyboards Alt is Mod1.
guint gdkState(modifier::Flags held) {
  guint state = 0;
  if ((held & modifier::command) != 0) state |= GDK_SUPER_MASK;
  if ((held & modifier::shift) != 0) state |= GDK_SHIFT_MASK;
  if ((held & modifier::option) != 0) state |= GDK_MOD1_MASK;
  if ((held & modifier::control) != 0) state |= GDK_CONTROL_MASK;
  return state;
}

}  // namespace

std::unique_ptr<platform::KeyEvent> KeyEvent::make(const KeyEventDetails& details) {
  const auto code = evdevCode(details.keyCode);
  const bool isChange = details.type == KeyEventType::flagsChanged;
  if (!code || (isChange && modifierFlag(details.keyCode) == 0)) return nullptr;
  constexpr int evdevOffset = 8;  // of X keycodes; xkeyboard-config, keycodes/evdev
  return std::unique_ptr<platform::KeyEvent>(new KeyEvent(isPress(details),
                                                          static_cast<guint16>(*code + evdevOffset),
                                                          gdkState(details.modifierFlags)));
}

void KeyEvent::deliverTo(GtkWidget* widget) const {
  GdkWindow* window = gtk_widget_get_window(widget);
  if (window == nullptr || !gtk_widget_get_mapped(widget)) return;
  GdkDisplay* display = gtk_widget_get_display(widget);
  GdkEvent* event = gdk_event_new(pressed_ ? GDK_KEY_PRESS : GDK_KEY_RELEASE);
  event->key.window = GDK_WINDOW(g_object_ref(window));
  event->key.send_event = TRUE;
  event->key.time = GDK_CURRENT_TIME;
  event->key.state = state_;
  event->key.hardware_keycode = keycode_;
  gdk_keymap_translate_keyboard_state(gdk_keymap_get_for_display(display), keycode_,
                                      static_cast<GdkModifierType>(state_), 0, &event->key.keyval,
                                      nullptr, nullptr, nullptr);
  GdkSeat* seat = gdk_display_get_default_seat(display);
  gdk_event_set_device(event, gdk_seat_get_keyboard(seat));
  gtk_widget_event(widget, event);
  gdk_event_free(event);
}

}  // namespace parlen::gtk
