#include "platform/linux/posix_streams.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <thread>

#include "fixtures.h"
#include "platform/linux/inbox.h"
#include "platform/linux/poll_loop.h"
#include "support/temporary_directory.h"

namespace parlen::test {
namespace {

using linux::Descriptor;
using linux::PollLoop;
using linux::PosixStreams;

std::string pattern(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 7 + i / 256) & 0xff);
  return bytes;
}

// Blocks until all of it has been taken.
void send(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(descriptor, bytes.data(), bytes.size());
    ASSERT_GT(count, 0);
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

// Reads `input` to its end on `loop` and returns all of it.
std::string receive(PollLoop& loop, PosixStreams& streams) {
  std::string received;
  streams.readInput([&](std::string_view chunk) {
    received.append(chunk);
    if (chunk.empty()) leaveLoop();
  });
  serve(loop);
  return received;
}

TEST(PosixStreams, WritesALineInOnePiece) {
  int ends[2];
  ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends));
  const Descriptor reading(ends[0]);
  const Descriptor writing(ends[1]);
  PollLoop loop;
  PosixStreams streams({-1, writing.get(), writing.get()}, loop);

  streams.writeOutput("{\"type\":\"ready\"}\n");
  streams.writeError("a warning\n");

  // Each read takes what one write sent.
  char buffer[100];
  EXPECT_EQ(17, read(reading.get(), buffer, sizeof buffer));
  EXPECT_EQ(10, read(reading.get(), buffer, sizeof buffer));
}

TEST(PosixStreams, CompletesAWriteThatANonBlockingPipeCutsShort) {
  Pipe pipe = makePipe(O_NONBLOCK);
  ASSERT_EQ(0, fcntl(pipe.reading.get(), F_SETFL, 0));
  const std::string line = pattern(1 << 20);
  PollLoop loop;
  PosixStreams streams({-1, pipe.writing.get(), -1}, loop);
  std::string received;
  std::thread parent([&] { received = readAll(pipe.reading.get()); });

  streams.writeOutput(line);
  pipe.writing.close();
  parent.join();

  EXPECT_EQ(line, received);
}

TEST(PosixStreams, CompletesAWriteThatSignalsInterrupt) {
  struct sigaction action{};
  action.sa_handler = [](int) {};  // without SA_RESTART
  sigaction(SIGUSR1, &action, nullptr);
  Pipe pipe = makePipe();
  const std::string line = pattern(1 << 20);
  PollLoop loop;
  PosixStreams streams({-1, pipe.writing.get(), -1}, loop);
  std::string received;
  std::thread parent([&, writer = pthread_self()] {
    char buffer[4096];
    for (ssize_t count = 0; (count = read(pipe.reading.get(), buffer, sizeof buffer)) > 0;) {
      received.append(buffer, static_cast<std::size_t>(count));
      if (received.size() < line.size()) pthread_kill(writer, SIGUSR1);
    }
  });

  streams.writeOutput(line);
  pipe.writing.close();
  parent.join();

  EXPECT_EQ(line, received);
}

TEST(PosixStreams, DropsWhatCannotBeWritten) {
  PollLoop loop;
  const Descriptor readOnly(open("/dev/null", O_RDONLY | O_CLOEXEC));
  PosixStreams streams({-1, -1, readOnly.get()}, loop);

  streams.writeOutput("nobody\n");
  streams.writeError("hears\n");
  streams.writeOutput("");
}

TEST(PosixStreams, EndsTheProcessByTheBrokenPipeSignal) {
  const int status = inChild([] {
    signal(SIGPIPE, SIG_DFL);
    Pipe pipe = makePipe();
    pipe.reading.close();
    PollLoop loop;
    PosixStreams({-1, pipe.writing.get(), -1}, loop).writeOutput("line\n");
    return 0;
  });

  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(SIGPIPE, WTERMSIG(status));
}

TEST(PosixStreams, DeliversInputInOrderAndItsEndOnceAndLast) {
  Pipe pipe = makePipe();
  const std::string sent = pattern(3 << 20);
  std::thread parent([&] {
    send(pipe.writing.get(), sent);
    pipe.writing.close();
  });
  PollLoop loop;
  PosixStreams streams({pipe.reading.get(), -1, -1}, loop);
  std::string received;
  int ends = 0;

  streams.readInput([&](std::string_view chunk) {
    EXPECT_EQ(0, ends);
    received.append(chunk);
    if (!chunk.empty()) return;
    ++ends;
    loop.post([&] { loop.post(&leaveLoop); });
  });
  serve(loop);
  parent.join();

  EXPECT_EQ(1, ends);
  EXPECT_TRUE(sent == received);
}

TEST(PosixStreams, DeliversInputOnTheLoopOnly) {
  Pipe pipe = makePipe();
  send(pipe.writing.get(), "x");
  PollLoop loop;
  PosixStreams streams({pipe.reading.get(), -1, -1}, loop);
  std::thread::id heardOn;

  streams.readInput([&](std::string_view) {
    heardOn = std::this_thread::get_id();
    leaveLoop();
  });
  EXPECT_EQ(std::thread::id(), heardOn);
  serve(loop);

  EXPECT_EQ(std::this_thread::get_id(), heardOn);
}

TEST(PosixStreams, ReadsRegularFiles) {
  const TemporaryDirectory directory;
  putFile(directory / "commands", "{\"type\":\"stop\"}\n");
  const Descriptor file(open((directory / "commands").c_str(), O_RDONLY | O_CLOEXEC));
  PollLoop loop;
  PosixStreams streams({file.get(), -1, -1}, loop);

  EXPECT_EQ("{\"type\":\"stop\"}\n", receive(loop, streams));
}

TEST(PosixStreams, WaitsForInputOfANonBlockingPipe) {
  Pipe pipe = makePipe(O_NONBLOCK);
  PollLoop loop;
  PosixStreams streams({pipe.reading.get(), -1, -1}, loop);
  std::string received;
  streams.readInput([&](std::string_view chunk) {
    received.append(chunk);
    if (chunk == "first") send(pipe.writing.get(), "second");
    if (chunk == "second") pipe.writing.close();
    if (chunk.empty()) leaveLoop();
  });
  send(pipe.writing.get(), "first");

  serve(loop);

  EXPECT_EQ("firstsecond", received);
}

TEST(PosixStreams, TakesAReadErrorForTheEnd) {
  const Descriptor directory(open("/", O_RDONLY | O_CLOEXEC));
  constexpr int notOpen = 1000;
  for (const int unreadable : {directory.get(), notOpen}) {
    PollLoop loop;
    PosixStreams streams({unreadable, -1, -1}, loop);

    EXPECT_EQ("", receive(loop, streams)) << unreadable;
  }
}

// The parent sends all of its commands before it reads the first event, and the first event does
// not fit into the pipe.
TEST(PosixStreams, GoesOnReadingWhileAWriteWaitsForItsReader) {
  Pipe input = makePipe();
  Pipe output = makePipe();
  const std::string commands = pattern(8 << 20);
  const std::string event = pattern(1 << 20);
  std::string seen;
  std::thread parent([&] {
    send(input.writing.get(), commands);
    input.writing.close();
    seen = readAll(output.reading.get());
  });
  PollLoop loop;
  PosixStreams streams({input.reading.get(), output.writing.get(), -1}, loop);
  std::string received;
  streams.readInput([&](std::string_view chunk) {
    if (received.empty()) streams.writeOutput(event);
    received.append(chunk);
    if (chunk.empty()) leaveLoop();
  });

  serve(loop);
  output.writing.close();
  parent.join();

  EXPECT_TRUE(event == seen);
  EXPECT_TRUE(commands == received);
}

TEST(PosixStreams, ReadsALittleAheadOfTheMainThreadAndNoMore) {
  constexpr std::size_t aLot = 64 << 20;
  constexpr std::size_t aLittle = 1 << 20;
  Pipe pipe = makePipe();
  ASSERT_EQ(0, fcntl(pipe.writing.get(), F_SETFL, O_NONBLOCK));
  PollLoop loop;
  PosixStreams streams({pipe.reading.get(), -1, -1}, loop);
  streams.readInput([](std::string_view) { FAIL() << "the loop does not run"; });

  // A pipe that stays full for this long is not read from.
  std::size_t taken = 0;
  const std::string some(4096, 'x');
  for (pollfd room{pipe.writing.get(), POLLOUT, 0}; taken < aLot && poll(&room, 1, 100) > 0;) {
    const ssize_t count = write(pipe.writing.get(), some.data(), some.size());
    if (count > 0) taken += static_cast<std::size_t>(count);
  }

  EXPECT_LE(taken, aLittle);
}

TEST(PosixStreams, EndsItsReaderWhileItWaits) {
  const Pipe pipe = makePipe();
  PollLoop loop;
  std::optional<PosixStreams> streams;
  streams.emplace(linux::StreamDescriptors{pipe.reading.get(), -1, -1}, loop);
  streams->readInput([](std::string_view) { FAIL(); });

  streams.reset();
}

TEST(PosixStreams, DeliversNothingOnceItIsGone) {
  Pipe pipe = makePipe();
  send(pipe.writing.get(), "queued");
  pipe.writing.close();
  PollLoop loop;
  std::optional<PosixStreams> streams;
  streams.emplace(linux::StreamDescriptors{pipe.reading.get(), -1, -1}, loop);
  // In the queue before anything that the reader may put there.
  loop.post([&] {
    streams.reset();
    loop.post([&] { loop.post(&leaveLoop); });
  });
  streams->readInput([](std::string_view) { FAIL(); });

  serve(loop);
}

TEST(PosixStreams, LetsAHandlerThrowWithoutLosingWhatFollows) {
  Pipe pipe = makePipe();
  PollLoop loop;
  PosixStreams streams({pipe.reading.get(), -1, -1}, loop);
  std::string received;
  streams.readInput([&](std::string_view chunk) {
    received.append(chunk);
    leaveLoop();
  });

  send(pipe.writing.get(), "one");
  serve(loop);
  send(pipe.writing.get(), "two");
  serve(loop);

  EXPECT_EQ("onetwo", received);
}

TEST(PosixStreams, KeepsWhatOthersPrintOutOfAReservedOutput) {
  Pipe output = makePipe();
  Pipe error = makePipe();
  PollLoop loop;
  {
    PosixStreams streams({-1, output.writing.get(), error.writing.get()}, loop);

    streams.reserveOutput();
    streams.reserveOutput();
    send(output.writing.get(), "printed");
    streams.writeOutput("event");
  }
  output.writing.close();
  error.writing.close();

  EXPECT_EQ("event", readAll(output.reading.get()));
  EXPECT_EQ("printed", readAll(error.reading.get()));
}

TEST(PosixStreams, DoesNotHandAReservedOutputToChildren) {
  Pipe output = makePipe();
  Pipe error = makePipe();
  PollLoop loop;
  PosixStreams streams({-1, output.writing.get(), error.writing.get()}, loop);
  const int lowestFree = dup(0);
  close(lowestFree);

  streams.reserveOutput();

  EXPECT_EQ(FD_CLOEXEC, fcntl(lowestFree, F_GETFD));
}

TEST(Inbox, IsFullAtItsLimitUntilItIsDrained) {
  std::size_t handled = 0;
  linux::Inbox inbox([&](std::string_view chunk) { handled += chunk.size(); });

  EXPECT_TRUE(inbox.add(std::string(linux::Inbox::limit - 1, 'x')));
  EXPECT_FALSE(inbox.isFull());
  EXPECT_FALSE(inbox.add("x")) << "one drain is enough for both";
  EXPECT_TRUE(inbox.isFull());
  inbox.drain();

  EXPECT_EQ(linux::Inbox::limit, handled);
  pollfd wake{inbox.wake(), POLLIN, 0};
  EXPECT_EQ(1, poll(&wake, 1, 0));
  EXPECT_FALSE(inbox.isFull());
  EXPECT_EQ(0, poll(&wake, 1, 0));
  EXPECT_TRUE(inbox.add("y")) << "the next bytes need a drain of their own";
}

}  // namespace
}  // namespace parlen::test
