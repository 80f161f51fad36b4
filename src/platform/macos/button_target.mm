#import "platform/macos/objc_button_target.h"

#include <utility>

#import "platform/macos/bridge.h"

@implementation ParlenButtonTarget {
  std::function<void()> _pressed;
}

- (instancetype)initWithPressed:(std::function<void()>)pressed {
  self = [super init];
  _pressed = std::move(pressed);
  return self;
}

- (void)clicked:(id)sender {
  parlen::macos::callBack(_pressed);
}

@end
