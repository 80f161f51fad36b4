#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/descriptor.h"

namespace parlen::test {

/// How the program ended, as its parent sees it.
struct Exit {
  std::optional<int> status;
  int signal = 0;  // when there is no status

  friend bool operator==(const Exit&, const Exit&) = default;
};

inline Exit exitedWith(int status) { return {status, 0}; }
inline Exit killedBy(int signal) { return {std::nullopt, signal}; }

using Environment = std::map<std::string, std::string>;

/// The real program as a child with pipes for its standard streams. Reading what it writes waits
/// for a minute at most, then fails the test.
class Program {
 public:
  /// The program starts with default signal actions and none blocked. `inChild` runs in the child
  /// before that; only async-signal-safe calls.
  explicit Program(const std::vector<std::string>& arguments, const Environment& more = {},
                   const std::function<void()>& inChild = {});
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// Writes to the program's standard input: all of it, unless the input was made non-blocking.
  void send(std::string_view bytes);
  /// Returns when the program has read all that was sent.
  void waitUntilRead() const;
  void closeInput() { input_.close(); }
  void closeOutput() { output_.close(); }
  void signal(int number) const;
  pid_t pid() const { return pid_; }

  /// The next line of its standard output, without the line feed; "(end)" at its end.
  std::string event();
  /// Takes events until one is `line`; the ones before it are returned too.
  std::vector<std::string> eventsUntil(const std::string& line);
  /// All that is left, up to the end.
  std::vector<std::string> remainingEvents();
  /// Waits for its end.
  Exit wait();
  /// What it wrote to standard error up to its end.
  std::string warnings();

 private:
  bool readMore();

  pid_t pid_ = -1;
  posix::Descriptor input_;
  posix::Descriptor unread_;  // another one for the reading end of the input
  posix::Descriptor output_;
  std::string errorPath_;
  std::string buffer_;
  std::string seen_;  // every event that was taken
  std::string sent_;
  std::optional<Exit> exit_;
};

/// Adds lines to the file of their kind ("event", "trace", ...) in the folder PARLEN_LINES, where
/// the schemas' test finds them. Without the variable it does nothing.
void keepSeen(std::string_view kind, std::string_view lines);

/// Runs the program without input to its end.
struct Finished {
  std::vector<std::string> events;
  std::string warnings;
  Exit exit;
};
Finished finish(const std::vector<std::string>& arguments, const Environment& more = {});

}  // namespace parlen::test
