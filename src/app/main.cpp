#include <memory>

#include "app/dispatch.h"
#include "app/host_choice.h"
#include "platform/platform.h"

/// The whole wiring. Ends from inside the subcommand.
int main(int argc, char** argv) {
  const auto native = parlen::platform::makeNativePlatform();
  parlen::platform::usePlatform(&native->system(), nullptr);
  // An empty argument vector, without even a program path, is possible and stays empty.
  parlen::startUp({argv + (argc > 0 ? 1 : 0), argv + argc});
  const auto host = parlen::makeChosenHost(parlen::readEnvironment(), *native);
  parlen::platform::usePlatform(&native->system(), host.get());
  parlen::dispatch();
}
