#import "platform/macos/process.h"

#import <Foundation/Foundation.h>
#include <dispatch/dispatch.h>
#include <signal.h>
#include <unistd.h>

#import "platform/macos/bridge.h"

namespace parlen::macos {
namespace {

int number(platform::TerminationSignal signal) {
  switch (signal) {
    case platform::TerminationSignal::terminate:
      return SIGTERM;
    case platform::TerminationSignal::interrupt:
      return SIGINT;
  }
}

class DispatchSource final : public platform::SignalSource {
 public:
  explicit DispatchSource(dispatch_source_t source) : source_(source) {}
  ~DispatchSource() override { dispatch_source_cancel(source_); }

 private:
  dispatch_source_t source_;
};

int exitStatus(NSTask* task) {
  constexpr int signalled = 128;
  switch (task.terminationReason) {
    case NSTaskTerminationReasonExit:
      return task.terminationStatus;
    case NSTaskTerminationReasonUncaughtSignal:
      return signalled + task.terminationStatus;
  }
  return task.terminationStatus;  // a reason that a later system has added
}

}  // namespace

std::unique_ptr<platform::SignalSource> Process::watchSignal(platform::TerminationSignal signal,
                                                             platform::Work handler) {
  // A source only watches; the default action has to be taken away besides. By a handler without
  // effect rather than by ignoring the signal, which children would inherit.
  ::signal(number(signal), [](int) {});
  dispatch_source_t source =
      dispatch_source_create(DISPATCH_SOURCE_TYPE_SIGNAL, static_cast<uintptr_t>(number(signal)), 0,
                             dispatch_get_main_queue());
  dispatch_source_set_event_handler(source, ^{
    callBack(handler);
  });
  dispatch_resume(source);  // sources are created suspended
  return std::make_unique<DispatchSource>(source);
}

platform::Result<int> Process::runAndWait(const std::string& program,
                                          const std::vector<std::string>& arguments) {
  NSMutableArray<NSString*>* words = [NSMutableArray arrayWithCapacity:arguments.size()];
  for (const std::string& argument : arguments) [words addObject:toText(argument)];

  NSTask* task = [[NSTask alloc] init];
  task.executableURL = toFileUrl(program);
  task.arguments = words;
  NSError* error = nil;
  // -launch raises when the program cannot be started; this form returns.
  if (![task launchAndReturnError:&error]) return failure(error);
  // Serves the run loop while it waits: work of the main queue may run inside of this call.
  [task waitUntilExit];
  return exitStatus(task);
}

// Not exit: nothing is buffered, and destructors would run beside the frameworks' threads.
void Process::endWith(int status) { _exit(status); }

void Process::endInTrap() { abort(); }

}  // namespace parlen::macos
