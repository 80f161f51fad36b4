#include "platform/posix/streams.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <thread>

#include "platform/posix/descriptor.h"
#include "queue_loop.h"
#include "support/posix_fixtures.h"
#include "support/sanitizers.h"
#include "support/temporary_directory.h"

namespace parlen::test {
namespace {

using posix::Descriptor;
using posix::Pipe;
using posix::Streams;

std::string pattern(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 7 + i / 256) & 0xff);
  return bytes;
}

// Reads `input` to its end on `loop` and returns all of it.
std::string receive(QueueLoop& loop, Streams& streams) {
  std::string received;
  streams.readInput([&](std::string_view chunk) {
    received.append(chunk);
    if (chunk.empty()) leaveLoop();
  });
  serve(loop);
  return received;
}

TEST(Streams, WritesALineInOnePiece) {
  int ends[2];
  ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_DGRAM, 0, ends));
  const Descriptor reading(ends[0]);
  const Descriptor writing(ends[1]);
  QueueLoop loop;
  Streams streams({-1, writing.get(), writing.get()}, loop);

  streams.writeOutput("{\"type\":\"ready\"}\n");
  streams.writeError("a warning\n");

  // Each read takes what one write sent.
  char buffer[100];
  EXPECT_EQ(17, read(reading.get(), buffer, sizeof buffer));
  EXPECT_EQ(10, read(reading.get(), buffer, sizeof buffer));
}

TEST(Streams, CompletesAWriteThatANonBlockingPipeCutsShort) {
  Pipe pipe = makePipe(O_NONBLOCK);
  ASSERT_EQ(0, fcntl(pipe.reading.get(), F_SETFL, 0));
  const std::string line = pattern(1 << 20);
  QueueLoop loop;
  Streams streams({-1, pipe.writing.get(), -1}, loop);
  std::string received;
  std::thread parent([&] { received = readAll(pipe.reading.get()); });

  streams.writeOutput(line);
  pipe.writing.close();
  parent.join();

  EXPECT_EQ(line, received);
}

TEST(Streams, CompletesAWriteThatSignalsInterrupt) {
  struct sigaction action{};
  action.sa_handler = [](int) {};  // without SA_RESTART
  sigaction(SIGUSR1, &action, nullptr);
  Pipe pipe = makePipe();
  const std::string line = pattern(1 << 20);
  QueueLoop loop;
  Streams streams({-1, pipe.writing.get(), -1}, loop);
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

TEST(Streams, DropsWhatCannotBeWritten) {
  QueueLoop loop;
  const Descriptor readOnly(open("/dev/null", O_RDONLY | O_CLOEXEC));
  Streams streams({-1, -1, readOnly.get()}, loop);

  streams.writeOutput("nobody\n");
  streams.writeError("hears\n");
  streams.writeOutput("");
}

TEST(Streams, EndsTheProcessByTheBrokenPipeSignal) {
  const int status = inChild([] {
    signal(SIGPIPE, SIG_DFL);
    Pipe pipe = makePipe();
    pipe.reading.close();
    QueueLoop loop;
    Streams({-1, pipe.writing.get(), -1}, loop).writeOutput("line\n");
    return 0;
  });

  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(SIGPIPE, WTERMSIG(status));
}

TEST(Streams, DeliversInputInOrderAndItsEndOnceAndLast) {
  Pipe pipe = makePipe();
  const std::string sent = pattern(3 << 20);
  std::thread parent([&] {
    send(pipe.writing.get(), sent);
    pipe.writing.close();
  });
  QueueLoop loop;
  Streams streams({pipe.reading.get(), -1, -1}, loop);
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

// As the splitter of command lines does, which keeps the start of a line from chunk to chunk.
TEST(Streams, CallsOneHandlerWithEveryChunk) {
  Pipe pipe = makePipe();
  QueueLoop loop;
  Streams streams({pipe.reading.get(), -1, -1}, loop);
  std::string all;
  streams.readInput([&, own = std::string()](std::string_view chunk) mutable {
    own.append(chunk);
    if (own == "{\"type\":") send(pipe.writing.get(), "\"stop\"}");
    if (own.ends_with('}')) pipe.writing.close();
    if (!chunk.empty()) return;
    all = own;
    leaveLoop();
  });
  send(pipe.writing.get(), "{\"type\":");

  serve(loop);

  EXPECT_EQ("{\"type\":\"stop\"}", all);
}

TEST(Streams, DeliversInputOnTheLoopOnly) {
  Pipe pipe = makePipe();
  send(pipe.writing.get(), "x");
  QueueLoop loop;
  Streams streams({pipe.reading.get(), -1, -1}, loop);
  std::thread::id heardOn;

  streams.readInput([&](std::string_view) {
    heardOn = std::this_thread::get_id();
    leaveLoop();
  });
  EXPECT_EQ(std::thread::id(), heardOn);
  serve(loop);

  EXPECT_EQ(std::this_thread::get_id(), heardOn);
}

TEST(Streams, TellsTheEndOfAFifoAndOfADevice) {
  const TemporaryDirectory directory;
  ASSERT_EQ(0, mkfifo((directory / "fifo").c_str(), 0600));
  const Descriptor fifo(open((directory / "fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  Descriptor writer(open((directory / "fifo").c_str(), O_WRONLY | O_CLOEXEC));
  send(writer.get(), "line\n");
  writer.close();
  const Descriptor null(open("/dev/null", O_RDONLY | O_CLOEXEC));
  QueueLoop loop;
  Streams fromFifo({fifo.get(), -1, -1}, loop);
  Streams fromNull({null.get(), -1, -1}, loop);

  EXPECT_EQ("line\n", receive(loop, fromFifo));
  EXPECT_EQ("", receive(loop, fromNull));
}

TEST(Streams, ReadsRegularFiles) {
  const TemporaryDirectory directory;
  putFile(directory / "commands", "{\"type\":\"stop\"}\n");
  const Descriptor file(open((directory / "commands").c_str(), O_RDONLY | O_CLOEXEC));
  QueueLoop loop;
  Streams streams({file.get(), -1, -1}, loop);

  EXPECT_EQ("{\"type\":\"stop\"}\n", receive(loop, streams));
}

TEST(Streams, WaitsForInputOfANonBlockingPipe) {
  Pipe pipe = makePipe(O_NONBLOCK);
  QueueLoop loop;
  Streams streams({pipe.reading.get(), -1, -1}, loop);
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

// A byte wakes both readers; the later one finds nothing and gets EAGAIN, which is no end.
TEST(Streams, SharesANonBlockingPipeWithAnotherReader) {
  constexpr int bytes = 5'000;
  Pipe pipe = makePipe(O_NONBLOCK);
  QueueLoop loop;
  Streams one({pipe.reading.get(), -1, -1}, loop);
  Streams other({pipe.reading.get(), -1, -1}, loop);
  int received = 0;
  int ends = 0;
  const auto take = [&](std::string_view chunk) {
    if (chunk.empty()) {
      EXPECT_EQ(received, bytes);
      if (++ends == 2) leaveLoop();
    } else if (++received == bytes) {
      pipe.writing.close();
    } else {
      send(pipe.writing.get(), "x");
    }
  };
  one.readInput(take);
  other.readInput(take);
  send(pipe.writing.get(), "x");

  serve(loop);

  EXPECT_EQ(ends, 2);
}

TEST(Streams, TakesAReadErrorForTheEnd) {
  const Descriptor directory(open("/", O_RDONLY | O_CLOEXEC));
  constexpr int notOpen = 1000;
  for (const int unreadable : {directory.get(), notOpen}) {
    QueueLoop loop;
    Streams streams({unreadable, -1, -1}, loop);

    EXPECT_EQ("", receive(loop, streams)) << unreadable;
  }
}

// The parent sends all of its commands before it reads the first event, and the first event does
// not fit into the pipe.
TEST(Streams, GoesOnReadingWhileAWriteWaitsForItsReader) {
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
  QueueLoop loop;
  Streams streams({input.reading.get(), output.writing.get(), -1}, loop);
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

TEST(Streams, ReadsALittleAheadOfTheMainThreadAndNoMore) {
  constexpr std::size_t aLot = 64 << 20;
  constexpr std::size_t aLittle = 1 << 20;
  Pipe pipe = makePipe();
  ASSERT_EQ(0, fcntl(pipe.writing.get(), F_SETFL, O_NONBLOCK));
  QueueLoop loop;
  Streams streams({pipe.reading.get(), -1, -1}, loop);
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

TEST(Streams, EndsItsReaderWhileItWaits) {
  const Pipe pipe = makePipe();
  QueueLoop loop;
  std::optional<Streams> streams;
  streams.emplace(posix::StreamDescriptors{pipe.reading.get(), -1, -1}, loop);
  streams->readInput([](std::string_view) { FAIL(); });

  streams.reset();
}

TEST(Streams, DeliversNothingOnceItIsGone) {
  Pipe pipe = makePipe();
  send(pipe.writing.get(), "queued");
  pipe.writing.close();
  QueueLoop loop;
  std::optional<Streams> streams;
  streams.emplace(posix::StreamDescriptors{pipe.reading.get(), -1, -1}, loop);
  // In the queue before anything that the reader may put there.
  loop.post([&] {
    streams.reset();
    loop.post([&] { loop.post(&leaveLoop); });
  });
  streams->readInput([](std::string_view) { FAIL(); });

  serve(loop);
}

TEST(Streams, LetsAHandlerThrowWithoutLosingWhatFollows) {
  Pipe pipe = makePipe();
  QueueLoop loop;
  Streams streams({pipe.reading.get(), -1, -1}, loop);
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

TEST(Streams, KeepsWhatOthersPrintOutOfAReservedOutput) {
  Pipe output = makePipe();
  Pipe error = makePipe();
  QueueLoop loop;
  {
    Streams streams({-1, output.writing.get(), error.writing.get()}, loop);

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

TEST(Streams, DoesNotHandAReservedOutputToChildren) {
  Pipe output = makePipe();
  Pipe error = makePipe();
  QueueLoop loop;
  Streams streams({-1, output.writing.get(), error.writing.get()}, loop);
  const int lowestFree = dup(0);
  close(lowestFree);

  streams.reserveOutput();

  EXPECT_EQ(FD_CLOEXEC, fcntl(lowestFree, F_GETFD));
}

bool aThreadStarts() {
  pthread_t thread{};
  const auto nothing = [](void*) -> void* { return nullptr; };
  if (pthread_create(&thread, nullptr, nothing, nullptr) != 0) return false;
  pthread_join(thread, nullptr);
  return true;
}

TEST(InputErrors, AreNotTakenForTheEndOfTheInput) {
  if (needsDescriptors) GTEST_SKIP() << "a sanitizer needs descriptors";
  enum class Missing { descriptor, thread };
  for (const Missing missing : {Missing::descriptor, Missing::thread}) {
    const int status = inChild([missing] {
      constexpr uid_t nobody = 65534;  // limits of processes do not hold for root
      if (missing == Missing::thread && geteuid() == 0 && setuid(nobody) != 0) return 2;
      const rlimit none{0, 0};
      setrlimit(missing == Missing::thread ? RLIMIT_NPROC : RLIMIT_NOFILE, &none);
      if (missing == Missing::thread && aThreadStarts()) return 0;  // threads are not limited here
      QueueLoop loop;
      Streams streams({0, 1, 2}, loop);
      const auto reading = streams.readInput([](std::string_view) { _exit(3); });
      loop.post(&leaveLoop);
      serve(loop);
      const int expected = missing == Missing::thread ? EAGAIN : EMFILE;
      if (reading || reading.error().code != expected) return 4;
      return reading.error().description.starts_with("could not read standard input: ") ? 0 : 5;
    });
    EXPECT_EQ(status, 0) << (missing == Missing::thread);
  }
}

}  // namespace
}  // namespace parlen::test
