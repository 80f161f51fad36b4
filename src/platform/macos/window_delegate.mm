#import "platform/macos/objc_window_delegate.h"

#import "platform/macos/bridge.h"

@implementation ParlenWindowDelegate {
  parlen::platform::WindowDelegate* _receiver;
}

- (instancetype)initWithReceiver:(parlen::platform::WindowDelegate*)receiver {
  self = [super init];
  _receiver = receiver;
  return self;
}

- (BOOL)windowShouldClose:(NSWindow*)sender {
  BOOL closes = YES;
  parlen::macos::callBack([self, &closes] { closes = self->_receiver->windowShouldClose(); });
  return closes;
}

@end
