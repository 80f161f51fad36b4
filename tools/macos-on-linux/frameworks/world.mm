// The simulated world behind the frameworks of this folder, and what of Foundation the scenario
// decides: NSProcessInfo's number of processors, and its uptime, which GNUstep counts in whole
// seconds.
#import "world.h"

#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#import "platform/macos/bridge.h"
#import "platform/macos/system.h"
#include "platform/simulated/host.h"

namespace parlen::harness {
namespace {

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::shared_ptr<simulated::World> makeWorld() {
  // Neither is destroyed: the process ends from wherever it is.
  auto* system = macos::makeSystem().release();
  auto world = simulated::makeWorld(*system, {.scenarioPath = variable("PARLEN_SCENARIO"),
                                              .tracePath = variable("PARLEN_TRACE")});
  if (!world) raise(macos::toText(world.error()));
  return *std::move(world);
}

}  // namespace

const std::shared_ptr<simulated::World>& world() {
  static const auto* shared = new std::shared_ptr<simulated::World>(makeWorld());
  return *shared;
}

void raise(NSString* what) {
  std::fprintf(stderr, "macos-on-linux: %s\n", what.UTF8String);
  std::abort();
}

void requireMainThread(NSString* what) {
  if (!NSThread.isMainThread) raise([what stringByAppendingString:@" off the main thread"]);
}

NSError* toNsError(const platform::PlatformError& error) {
  return [NSError errorWithDomain:macos::toText(error.domain)
                             code:error.code
                         userInfo:@{NSLocalizedDescriptionKey : macos::toText(error.description)}];
}

BOOL fail(NSError* __autoreleasing* where, const platform::PlatformError& error) {
  if (where != nullptr) *where = toNsError(error);
  return NO;
}

}  // namespace parlen::harness

using parlen::harness::world;

@implementation NSProcessInfo (MacOS)

- (NSUInteger)processorCount {
  return static_cast<NSUInteger>(world()->scenario.host.processorCount);
}

- (NSTimeInterval)systemUptime {
  struct timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  constexpr double nanosecond = 1e-9;
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * nanosecond;
}

- (void)disableAutomaticTermination:(NSString*)reason {
  world()->trace.record(
      "process.disableAutomaticTermination",
      parlen::simulated::JsonMembers().addText("reason", parlen::macos::fromText(reason)));
}

@end
