#import "platform/macos/queues.h"

#import <Foundation/Foundation.h>
#include <dispatch/dispatch.h>
#include <time.h>

#include <string>

#import "platform/macos/bridge.h"

namespace parlen::macos {
namespace {

class DispatchQueue final : public platform::SerialQueue {
 public:
  explicit DispatchQueue(const std::string& label)
      : queue_(dispatch_queue_create(label.c_str(), DISPATCH_QUEUE_SERIAL)) {}

  void sync(const platform::Work& work) override {
    dispatch_sync(queue_, ^{
      callBack(work);
    });
  }

 private:
  dispatch_queue_t queue_;
};

}  // namespace

void MainQueue::post(platform::Work work) {
  dispatch_async(dispatch_get_main_queue(), ^{
    callBack(work);
  });
}

void MainQueue::postDelayed(std::chrono::milliseconds delay, platform::Work work) {
  const std::chrono::nanoseconds nanoseconds = delay;
  dispatch_after(dispatch_time(DISPATCH_TIME_NOW, nanoseconds.count()), dispatch_get_main_queue(),
                 ^{
                   callBack(work);
                 });
}

// The main run loop serves the main queue, and unlike dispatch_main also what the frameworks attach
// to it.
void MainQueue::run() { [NSRunLoop.mainRunLoop run]; }

// On this system the monotonic clock counts on while the host sleeps; the uptime clock does not.
std::chrono::nanoseconds MainQueue::now() const {
  return std::chrono::nanoseconds(clock_gettime_nsec_np(CLOCK_MONOTONIC));
}

std::chrono::nanoseconds MainQueue::systemUptime() const {
  const std::chrono::duration<double> seconds(NSProcessInfo.processInfo.systemUptime);
  return std::chrono::duration_cast<std::chrono::nanoseconds>(seconds);
}

std::unique_ptr<platform::SerialQueue> makeSerialQueue(std::string_view label) {
  return std::make_unique<DispatchQueue>(std::string(label));
}

}  // namespace parlen::macos
