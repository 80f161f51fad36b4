#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "app/dispatch.h"
#include "control/commands.h"
#include "control/line_splitter.h"
#include "platform/error.h"
#include "runner/run.h"
#include "support/tool.h"

// This program counts the bytes that it holds: it replaces the functions that all of them come
// from. Each block has its size in front.
namespace {

std::atomic<std::size_t> held = 0;
std::atomic<std::size_t> mostHeld = 0;
std::atomic<std::size_t> allocations = 0;

constexpr std::size_t header = alignof(std::max_align_t);

void* allocate(std::size_t size) noexcept {
  auto* block = static_cast<std::byte*>(std::malloc(header + size));
  if (block == nullptr) return nullptr;
  *reinterpret_cast<std::size_t*>(block) = size;
  ++allocations;
  const std::size_t now = held += size;
  std::size_t most = mostHeld;
  while (now > most && !mostHeld.compare_exchange_weak(most, now)) {
  }
  return block + header;
}

void* allocateOrAbort(std::size_t size) {
  void* memory = allocate(size);
  if (memory == nullptr) std::abort();
  return memory;
}

void release(void* memory) noexcept {
  if (memory == nullptr) return;
  auto* block = static_cast<std::byte*>(memory) - header;
  held -= *reinterpret_cast<std::size_t*>(block);
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return allocateOrAbort(size); }
void* operator new[](std::size_t size) { return allocateOrAbort(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { release(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { release(memory); }

namespace parlen::test {
namespace {

constexpr std::size_t length = 100'000;       // of what a test repeats, in bytes
constexpr std::size_t constantPart = 16'384;  // what any line may take besides

/// Bytes, the line itself not included.
struct Use {
  std::size_t most = 0;   // while the line is carried out
  std::size_t after = 0;  // once that call has returned
};

/// What one command line takes of a run with a window.
Use useOf(const std::string& line) {
  Tool tool;
  RunOptions options;
  options.bundlePath = tool.makeBundle("vm1");
  options.gui = true;
  std::shared_ptr<VMRunner> runner;
  Use use;
  startUp({});
  tool.system().loop().postDelayed(std::chrono::milliseconds(10), [&] {
    const std::size_t before = mostHeld = held.load();
    executeCommand(line, *runner);
    use = {mostHeld - before, held - before};
    tool.system().process().exit(0);
  });
  try {
    runVM(options, [&](const std::shared_ptr<VMRunner>& made) {
      runner = made;
      return platform::Result<>{};
    });
  } catch (const ProcessEnded&) {
    runner.reset();
  }
  return use;
}

std::string repeated(std::string_view piece) {
  std::string text;
  text.reserve(length + piece.size());
  while (text.size() < length) text += piece;
  return text;
}

std::string quoted(const std::string& content) { return '"' + content + '"'; }

/// A command that is refused at once, with one more member, or several if `value` has them.
std::string refusedWith(const std::string& name, const std::string& value) {
  return "{\"type\":\"resume\"," + quoted(name) + ":" + value + "}";
}

/// No more than the line itself, and nothing afterwards.
void expectLean(const std::string& line) {
  const Use use = useOf(line);
  EXPECT_LE(use.most, line.size() + constantPart) << line.substr(0, 60);
  EXPECT_LE(use.after, constantPart) << line.substr(0, 60);
}

TEST(CommandMemory, IsCounted) {
  const std::size_t before = held;
  auto text = std::make_unique<std::string>(length, 'x');
  EXPECT_GE(held - before, length);
  text.reset();
  EXPECT_EQ(held, before);
}

TEST(CommandMemory, IsNotTakenByWhatNoVerbUses) {
  expectLean(refusedWith("x", "[" + repeated("[],") + "[]]"));
  expectLean(refusedWith("x", "[" + repeated("1,") + "1]"));
  expectLean(refusedWith("x", "[" + repeated("\"\",") + "\"\"]"));
  expectLean(refusedWith("x", "[" + repeated("{\"a\":{}},") + "1]"));
  expectLean(refusedWith("x", "{" + repeated("\"a\":1,") + "\"a\":1}"));
  expectLean(refusedWith("x", "1" + repeated(",\"y\":2")));
  expectLean(refusedWith("x", quoted(repeated("abc"))));
  expectLean(refusedWith("x", repeated("1") + "e-1000000"));
  expectLean(refusedWith(repeated("abc"), "1"));
  expectLean(repeated("["));
  expectLean("[" + repeated("1,") + "1]");
  expectLean(repeated("{\"a\":"));
}

TEST(CommandMemory, IsNotTakenByAMemberOfTheWrongKind) {
  expectLean(refusedWith("text", "[" + repeated("1,") + "1]"));
  expectLean(refusedWith("type", "{\"a\":[" + repeated("{},") + "1]}"));
  expectLean(refusedWith("text", "1" + repeated(",\"text\":2")));
}

TEST(CommandMemory, IsThatOfTheLineForAStringThatIsUsed) {
  expectLean(refusedWith("title", quoted(repeated("abc"))));
  expectLean(refusedWith("title", quoted(repeated("\\u0041"))));
  expectLean(refusedWith("title", quoted(repeated("a\\n"))));
  expectLean(
      refusedWith("title", quoted(repeated("a\\n")) + ",\"title\":" + quoted(repeated("b"))));
}

TEST(CommandMemory, IsAByteForEachCharacterThatIsTyped) {
  for (const char* piece : {"a", "A", "\\n", "\\u0041"}) {
    const std::string text = repeated(piece);
    const std::string line = R"({"type":"text","text":")" + text + "\"}";
    const std::size_t characters = text.size() / std::string_view(piece).size();
    const Use use = useOf(line);
    EXPECT_LE(use.most, line.size() + characters + constantPart) << piece;
    EXPECT_LE(use.after, characters + constantPart) << piece;
    EXPECT_GE(use.after, characters) << piece;
  }
}

TEST(CommandMemory, IsThatOfTheLineForATextThatCannotBeTyped) {
  expectLean(R"({"type":"text","text":")" + repeated("é") + "\"}");
}

TEST(CommandMemory, IsBoundedForAChord) {
  expectLean(R"({"type":"key","key":"a+)" + repeated("+") + "\"}");
  std::string chord;
  for (int i = 0; i < 4'000; ++i) chord += "cmd+";
  const std::string line = R"({"type":"key","key":")" + chord + "a\"}";
  const Use use = useOf(line);
  EXPECT_LE(use.most, 9 * line.size() + constantPart);
  EXPECT_LE(use.after, 8 * line.size() + constantPart);
}

// Five times the line at most, and what the test itself keeps of the written sentence.
TEST(CommandMemory, IsBoundedForALineThatIsQuoted) {
  const std::vector<std::string> lines{R"({"type":")" + repeated("a") + "\"}",
                                       R"({"type":"key","key":")" + repeated("a") + "\"}",
                                       R"({"type":"key","key":")" + repeated("a") + "+a\"}",
                                       R"({"type":"text","text":"e)" + repeated("\u0301") + "\"}"};
  for (const std::string& line : lines) {
    const Use use = useOf(line);
    EXPECT_LE(use.most, 7 * line.size() + constantPart) << line.substr(0, 30);
  }
}

// --- What holds the bytes until their line is complete ---

constexpr std::size_t keptBuffer = 65'536;  // what may stay for the next lines

void takeAll(LineSplitter& lines) {
  while (lines.next()) {
  }
}

TEST(LineSplitterMemory, IsFreedAfterALongLine) {
  const std::size_t before = held;
  LineSplitter lines;
  lines.append(std::string(10 * length, 'x') + '\n');
  takeAll(lines);
  lines.append("{");
  EXPECT_LE(held - before, keptBuffer);
}

TEST(LineSplitterMemory, DoesNotGrowWithTheNumberOfLines) {
  const std::size_t before = held;
  LineSplitter lines;
  for (std::size_t i = 0; i < length; ++i) {
    lines.append("{}\n{}\n");
    takeAll(lines);
  }
  EXPECT_LE(held - before, keptBuffer);
}

TEST(LineSplitterMemory, GrowsByDoublingWhileALineIsIncomplete) {
  const std::string piece(100, 'x');
  LineSplitter lines;
  const std::size_t before = allocations;
  for (std::size_t i = 0; i < length / 10; ++i) {
    lines.append(piece);
    takeAll(lines);
  }
  EXPECT_LE(allocations - before, 20U);
}

}  // namespace
}  // namespace parlen::test
