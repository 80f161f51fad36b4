#include "program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "platform/posix/process.h"
#include "support/posix_fixtures.h"

namespace parlen::test {
namespace {

constexpr int timeoutMs = 60'000;

int makeErrorFile(std::string& path) {
  path = (std::filesystem::temp_directory_path() / "parlen-program-XXXXXX").string();
  const int file = mkostemp(path.data(), O_CLOEXEC);
  if (file < 0) throw std::runtime_error("no temporary file");
  return file;
}

/// The environment of this process, on PARLEN_PROGRAM_HOST or this build's host unless told
/// otherwise.
void applyEnvironment(const Environment& more) {
  const char* host = std::getenv("PARLEN_PROGRAM_HOST");
  setenv("PARLEN_HOST", host != nullptr ? host : PARLEN_PROGRAM_HOST, 1);
  for (const char* name : {"PARLEN_SCENARIO", "PARLEN_TRACE"}) unsetenv(name);
  for (const auto& [name, value] : more) setenv(name.c_str(), value.c_str(), 1);
}

}  // namespace

void keepSeen(std::string_view kind, std::string_view lines) {
  const char* folder = std::getenv("PARLEN_LINES");
  if (folder == nullptr) return;
  std::filesystem::create_directories(folder);
  // A file for each test process: tests run at the same time.
  const std::string name = std::string(kind) + "-" + std::to_string(getpid()) + ".jsonl";
  std::ofstream(std::filesystem::path(folder) / name, std::ios::app | std::ios::binary) << lines;
}

Program::Program(const std::vector<std::string>& arguments, const Environment& more,
                 const std::function<void()>& inChild) {
  posix::Pipe in = makePipe();
  posix::Pipe out = makePipe();
  const int error = makeErrorFile(errorPath_);
  std::vector<std::string> words = {PARLEN_PROGRAM};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  pid_ = fork();
  if (pid_ == 0) {
    dup2(in.reading.get(), STDIN_FILENO);
    dup2(out.writing.get(), STDOUT_FILENO);
    dup2(error, STDERR_FILENO);
    applyEnvironment(more);
    posix::resetSignals();  // what started the tests may ignore SIGHUP or SIGQUIT, as nohup does
    if (inChild) inChild();
    execv(PARLEN_PROGRAM, argv.data());
    _exit(127);
  }
  close(error);
  // Only of this end does every system tell how much is unread. It goes with the input, whose end
  // and whose reader's end are seen as if the program alone had it.
  input_ = std::move(in.writing);
  unread_ = std::move(in.reading);
  output_ = std::move(out.reading);
}

Program::~Program() {
  keepSeen("event", seen_);
  keepSeen("command", sent_.substr(0, sent_.rfind('\n') + 1));
  if (!exit_) {
    kill(pid_, SIGKILL);
    wait();
  }
  closeInput();
  closeOutput();
  std::error_code ignored;
  std::filesystem::remove(errorPath_, ignored);
}

void Program::send(std::string_view bytes) {
  sent_ += bytes;
  ASSERT_EQ(posix::writeAll(input_.get(), bytes), 0) << "the program does not read";
}

void Program::waitUntilRead() const {
  for (int unread = 1; unread > 0; sched_yield()) {
    ASSERT_EQ(ioctl(unread_.get(), FIONREAD, &unread), 0);
  }
}

void Program::signal(int number) const { kill(pid_, number); }

bool Program::readMore() {
  pollfd waiting{output_.get(), POLLIN, 0};
  if (poll(&waiting, 1, timeoutMs) <= 0) {
    ADD_FAILURE() << "nothing came for a minute; so far: " << buffer_;
    return false;
  }
  std::array<char, 65536> bytes{};
  const ssize_t count = read(output_.get(), bytes.data(), bytes.size());
  if (count <= 0) return false;
  buffer_.append(bytes.data(), static_cast<std::size_t>(count));
  return true;
}

std::string Program::event() {
  std::size_t end = 0;
  while ((end = buffer_.find('\n')) == std::string::npos) {
    if (!readMore()) return "(end)" + buffer_;
  }
  std::string line = buffer_.substr(0, end);
  buffer_.erase(0, end + 1);
  seen_ += line + "\n";
  return line;
}

std::vector<std::string> Program::eventsUntil(const std::string& line) {
  std::vector<std::string> events;
  do {
    events.push_back(event());
  } while (events.back() != line && !events.back().starts_with("(end)"));
  EXPECT_EQ(events.back(), line);
  return events;
}

std::vector<std::string> Program::remainingEvents() {
  std::vector<std::string> events;
  for (std::string line = event(); line != "(end)"; line = event()) {
    events.push_back(line);
    if (line.starts_with("(end)")) break;
  }
  return events;
}

Exit Program::wait() {
  if (exit_) return *exit_;
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  exit_ = WIFEXITED(status) ? exitedWith(WEXITSTATUS(status)) : killedBy(WTERMSIG(status));
  return *exit_;
}

std::string Program::warnings() {
  wait();
  std::ostringstream text;
  text << std::ifstream(errorPath_).rdbuf();
  return text.str();
}

Finished finish(const std::vector<std::string>& arguments, const Environment& more) {
  Program program(arguments, more);
  program.closeInput();
  Finished finished;
  finished.events = program.remainingEvents();
  finished.exit = program.wait();
  finished.warnings = program.warnings();
  return finished;
}

}  // namespace parlen::test
