#import "platform/macos/objc_progress_observer.h"

#include <utility>

#import "platform/macos/bridge.h"

namespace {

NSString* const keyPath = @"fractionCompleted";

// Its address tells this observation from a superclass's.
char context;

}  // namespace

@implementation ParlenProgressObserver {
  NSProgress* _progress;
  std::function<void()> _changed;
}

- (instancetype)initWithProgress:(NSProgress*)progress changed:(std::function<void()>)changed {
  self = [super init];
  _progress = progress;
  _changed = std::move(changed);
  [_progress addObserver:self
              forKeyPath:keyPath
                 options:NSKeyValueObservingOptionInitial
                 context:&context];
  return self;
}

- (void)observeValueForKeyPath:(NSString*)path
                      ofObject:(id)object
                        change:(NSDictionary<NSKeyValueChangeKey, id>*)change
                       context:(void*)observed {
  @synchronized(self) {
    if (_changed) parlen::macos::callBack(_changed);
  }
}

- (void)end {
  // Removing the observer does not wait for a call that is under way; the lock does.
  [_progress removeObserver:self forKeyPath:keyPath context:&context];
  @synchronized(self) {
    _changed = nullptr;
  }
}

@end
