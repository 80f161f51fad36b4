#include "support/posix_fixtures.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

namespace parlen::test {

void serve(platform::EventLoop& loop) {
  try {
    const auto served = loop.run();
    if (!served) throw std::runtime_error(served.error().description);
  } catch (const LoopLeft&) {
  }
}

void leaveLoop() { throw LoopLeft(); }

posix::Pipe makePipe(int flags) {
  posix::Pipe pipe = posix::makePipe();
  if (!pipe.reading) throw std::runtime_error("no pipe");
  for (const posix::Descriptor* end : {&pipe.reading, &pipe.writing}) {
    fcntl(end->get(), F_SETFL, fcntl(end->get(), F_GETFL) | flags);
  }
  return pipe;
}

int inChild(const std::function<int()>& body) {
  const pid_t child = fork();
  if (child == 0) _exit(body());
  int status = 0;
  if (waitpid(child, &status, 0) != child) throw std::runtime_error("no child");
  return status;
}

void putFile(const std::string& path, std::string_view content) {
  std::ofstream file(path, std::ios::binary);
  file << content;
  if (!file.flush()) throw std::runtime_error("could not write " + path);
}

std::string fileContent(const std::string& path) {
  const posix::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) throw std::runtime_error("could not read " + path);
  return readAll(file.get());
}

std::string readAll(int descriptor) {
  std::string all;
  char buffer[65536];
  for (ssize_t count = 0; (count = read(descriptor, buffer, sizeof buffer)) > 0;) {
    all.append(buffer, static_cast<std::size_t>(count));
  }
  return all;
}

void send(int descriptor, std::string_view bytes) {
  if (posix::writeAll(descriptor, bytes) != 0) throw std::runtime_error("nobody reads");
}

struct stat statusOf(const std::string& path) {
  struct stat status{};
  if (lstat(path.c_str(), &status) != 0) throw std::runtime_error("nothing at " + path);
  return status;
}

}  // namespace parlen::test
