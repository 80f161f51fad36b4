#import "platform/macos/objc_key_event.h"

#import "platform/macos/bridge.h"

namespace parlen::macos {
namespace {

class KeyEvent final : public platform::KeyEvent {
 public:
  explicit KeyEvent(NSEvent* event) : event_(event) {}
  NSEvent* object() const { return event_; }

 private:
  NSEvent* event_;
};

// AppKit raises for any other type.
NSEventType toType(platform::KeyEventType type) {
  switch (type) {
    case platform::KeyEventType::keyDown:
      return NSEventTypeKeyDown;
    case platform::KeyEventType::keyUp:
      return NSEventTypeKeyUp;
    case platform::KeyEventType::flagsChanged:
      return NSEventTypeFlagsChanged;
  }
}

}  // namespace

std::unique_ptr<platform::KeyEvent> makeKeyEvent(const platform::KeyEventDetails& details) {
  NSEvent* event = [NSEvent keyEventWithType:toType(details.type)
                                    location:NSMakePoint(details.location.x, details.location.y)
                               modifierFlags:details.modifierFlags
                                   timestamp:details.timestamp
                                windowNumber:details.windowNumber
                                     context:nil
                                  characters:toText(details.characters)
                 charactersIgnoringModifiers:toText(details.charactersIgnoringModifiers)
                                   isARepeat:details.isARepeat
                                     keyCode:details.keyCode];
  if (event == nil) return nullptr;
  return std::make_unique<KeyEvent>(event);
}

NSEvent* opened(const platform::KeyEvent& event) {
  return static_cast<const KeyEvent&>(event).object();
}

}  // namespace parlen::macos
