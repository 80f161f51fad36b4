#include "platform/gtk/key_event.h"

#include <array>
#include <cstdint>

#include "platform/gtk/key_codes.h"

namespace parlen::gtk {
namespace {

using platform::KeyEventDetails;
using platform::KeyEventType;

/// A change of modifiers is a press if the key's own kind is among the modifiers afterwards.
bool isPress(const KeyEventDetails& details) {
  if (details.type != KeyEventType::flagsChanged) return details.type == KeyEventType::keyDown;
  return (details.modifierFlags & modifierFlag(details.keyCode)) != 0;
}

guint toolkitState(std::uint64_t modifierFlags) {
  struct Modifier {
    std::uint16_t key;
    GdkModifierType state;
  };
  constexpr std::array modifiers = {Modifier{55, GDK_SUPER_MASK}, Modifier{56, GDK_SHIFT_MASK},
                                    Modifier{58, GDK_MOD1_MASK}, Modifier{59, GDK_CONTROL_MASK}};
  guint state = 0;
  for (const Modifier& modifier : modifiers) {
    if ((modifierFlags & modifierFlag(modifier.key)) != 0) state |= modifier.state;
  }
  return state;
}

}  // namespace

std::unique_ptr<platform::KeyEvent> KeyEvent::make(const KeyEventDetails& details) {
  const auto code = evdevCode(details.keyCode);
  const bool isChange = details.type == KeyEventType::flagsChanged;
  if (!code || (isChange && modifierFlag(details.keyCode) == 0)) return nullptr;
  constexpr int firstKeycode = 8;  // display servers count from here
  return std::unique_ptr<platform::KeyEvent>(
      new KeyEvent(isPress(details), static_cast<guint16>(*code + firstKeycode),
                   toolkitState(details.modifierFlags)));
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
