#pragma once

#include <sys/stat.h>

#include <functional>
#include <string>
#include <string_view>

#include "platform/event_loop.h"
#include "platform/posix/descriptor.h"

namespace parlen::test {

/// Serves the loop until a piece of work leaves it.
struct LoopLeft {};
void serve(platform::EventLoop& loop);
[[noreturn]] void leaveLoop();

/// Throws if there is none. `flags` are those of the file status, O_NONBLOCK say, of both ends.
posix::Pipe makePipe(int flags = 0);

/// Runs `body` in a forked child and returns its wait status: an exit status is what `body`
/// returns.
int inChild(const std::function<int()>& body);

void putFile(const std::string& path, std::string_view content);
std::string fileContent(const std::string& path);

/// Everything up to the end.
std::string readAll(int descriptor);

/// Blocks until all of it has been taken.
void send(int descriptor, std::string_view bytes);

/// Of the entry itself, not of what it links to. Throws if there is none.
struct stat statusOf(const std::string& path);

}  // namespace parlen::test
