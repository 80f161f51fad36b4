#include "platform/posix/error_stream.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/posix/descriptor.h"
#include "support/posix_fixtures.h"

namespace parlen::test {
namespace {

using posix::Descriptor;
using posix::ErrorStream;
using posix::Pipe;

constexpr std::chrono::milliseconds noWait{0};

/// 100 bytes, each number's differ.
std::string numbered(int number) {
  std::string line = std::to_string(number) + " ";
  line.resize(99, '.');
  return line + "\n";
}

std::string numbered(int first, int end) {
  std::string lines;
  for (int i = first; i < end; ++i) lines += numbered(i);
  return lines;
}

/// What can be read at once.
std::string readNow(int descriptor) {
  std::string all;
  char buffer[65536];
  for (pollfd wait{descriptor, POLLIN, 0}; poll(&wait, 1, 0) > 0;) {
    const ssize_t count = read(descriptor, buffer, sizeof buffer);
    if (count <= 0) break;
    all.append(buffer, static_cast<std::size_t>(count));
  }
  return all;
}

Pipe makeSocketPair() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return {Descriptor(), Descriptor()};
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// A terminal that passes bytes on as they are; its other side reads.
Pipe makeTerminal() {
  Descriptor other(posix_openpt(O_RDWR | O_NOCTTY));
  if (grantpt(other.get()) != 0 || unlockpt(other.get()) != 0) return {Descriptor(), Descriptor()};
  Descriptor terminal(open(ptsname(other.get()), O_RDWR | O_NOCTTY));
  termios settings{};
  tcgetattr(terminal.get(), &settings);
  settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  tcsetattr(terminal.get(), TCSANOW, &settings);
  return {std::move(other), std::move(terminal)};
}

Pipe makePlainPipe() { return makePipe(); }

/// Without a free number nothing can be opened anew.
class NoFreeDescriptor {
 public:
  NoFreeDescriptor() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const Descriptor lowest(dup(0));
    rlimit none = before_;
    none.rlim_cur = static_cast<rlim_t>(lowest.get());
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoFreeDescriptor() { setrlimit(RLIMIT_NOFILE, &before_); }
  NoFreeDescriptor(const NoFreeDescriptor&) = delete;
  NoFreeDescriptor& operator=(const NoFreeDescriptor&) = delete;

 private:
  rlimit before_{};
};

struct ErrorKind {
  std::string name;
  Pipe (*make)();
  bool openedAnew = true;
};

std::ostream& operator<<(std::ostream& out, const ErrorKind& kind) { return out << kind.name; }

class AnErrorStream : public testing::TestWithParam<ErrorKind> {
 protected:
  struct Account {
    int written = 0;
    int dropped = 0;  // as reported
  };

  AnErrorStream() : ends_(GetParam().make()), stream_(ends_.writing.get(), noWait) {
    if (GetParam().openedAnew) return;
    const NoFreeDescriptor none;
    stream_.write("");
  }

  void write(const std::string& line) {
    ++written_;
    stream_.write(line);
  }

  /// Reads until the line that was written last is heard; it is written anew as often as that
  /// takes. A terminal moves its bytes on a little later, and has no room until then.
  std::string hear() {
    std::string seen = readNow(ends_.reading.get());
    std::string line;
    do {
      line = "heard " + std::to_string(written_) + "\n";
      write(line);
      pollfd arrival{ends_.reading.get(), POLLIN, 0};
      poll(&arrival, 1, 10);
      seen += readNow(ends_.reading.get());
    } while (!seen.ends_with(line));
    return seen;
  }

  /// Every line must be whole.
  static Account accountFor(const std::string& seen) {
    Account account;
    std::istringstream lines(seen);
    for (std::string line; std::getline(lines, line);) {
      constexpr std::string_view prefix = "parlen-mac-vm: ";
      if (line.starts_with(prefix)) {
        account.dropped += std::stoi(line.substr(prefix.size()));
        continue;
      }
      ++account.written;
      if (!line.starts_with("heard ")) {
        EXPECT_EQ(line.size() % 100, 99U) << line;
      }
    }
    return account;
  }

  Pipe ends_;
  ErrorStream stream_;
  int written_ = 0;
};

TEST_P(AnErrorStream, DropsWholeLinesThatNobodyReads) {
  constexpr int lines = 5000;
  for (int i = 0; i < lines; ++i) write(numbered(i));

  const Account account = accountFor(hear());

  EXPECT_GT(account.dropped, 0);
  EXPECT_GT(account.written, 10);
  EXPECT_EQ(account.written + account.dropped, written_);
}

TEST_P(AnErrorStream, StartsCountingAnewAfterAReport) {
  for (int i = 0; i < 5000; ++i) write(numbered(i));
  hear();

  EXPECT_THAT(hear(), testing::StartsWith("heard "));
}

TEST_P(AnErrorStream, FinishesALongLineBeforeTheNext) {
  std::string line = numbered(0, 20'000);
  std::ranges::replace(line, '\n', ' ');
  line.back() = '\n';
  write(line);
  write("dropped\n");

  const std::string seen = hear();

  EXPECT_TRUE(seen.starts_with(line));
  EXPECT_EQ(accountFor(seen).dropped + accountFor(seen).written, written_);
}

TEST_P(AnErrorStream, LeavesTheSharedDescriptorBlocking) {
  const int before = fcntl(ends_.writing.get(), F_GETFL);

  stream_.write("line\n");

  EXPECT_EQ(before, fcntl(ends_.writing.get(), F_GETFL));
  EXPECT_EQ(0, before & O_NONBLOCK);
}

// A terminal that is not opened anew may block: that is the limit that the header states.
INSTANTIATE_TEST_SUITE_P(OnEachKind, AnErrorStream,
                         testing::Values(ErrorKind{"Pipe", makePlainPipe},
                                         ErrorKind{"PipeNotOpenedAnew", makePlainPipe, false},
                                         ErrorKind{"Socket", makeSocketPair},
                                         ErrorKind{"Terminal", makeTerminal}),
                         [](const auto& tested) { return tested.param.name; });

TEST(ErrorStream, ReportsASingleDroppedLine) {
  const Pipe pipe = makePipe(O_NONBLOCK);
  while (write(pipe.writing.get(), "x", 1) == 1) {
  }
  ErrorStream stream(pipe.writing.get(), noWait);
  stream.write("dropped\n");
  readNow(pipe.reading.get());

  stream.write("heard\n");

  EXPECT_EQ(
      "parlen-mac-vm: 1 warning was dropped because nobody read it\n"
      "heard\n",
      readNow(pipe.reading.get()));
}

TEST(ErrorStream, WaitsForTheReaderOfALongLine) {
  for (const bool openedAnew : {true, false}) {
    Pipe pipe = makePipe();
    const std::string line = numbered(0, 50'000);
    std::string seen;
    std::thread parent([&] { seen = readAll(pipe.reading.get()); });
    {
      ErrorStream stream(pipe.writing.get(), std::chrono::minutes(1));
      if (!openedAnew) {
        const NoFreeDescriptor none;
        stream.write("");
      }
      stream.write(line);
    }
    pipe.writing.close();
    parent.join();

    EXPECT_TRUE(line == seen) << openedAnew << ", " << seen.size();
  }
}

TEST(ErrorStream, WritesAllToAFile) {
  char path[] = "/tmp/parlen-error-XXXXXX";
  const Descriptor file(mkstemp(path));
  unlink(path);
  ErrorStream stream(file.get(), noWait);
  const std::string line = numbered(0, 20'000);

  stream.write(line);
  stream.write("next\n");

  lseek(file.get(), 0, SEEK_SET);
  EXPECT_TRUE(line + "next\n" == readAll(file.get()));
}

}  // namespace
}  // namespace parlen::test
