#include "control/line_splitter.h"

#include <gtest/gtest.h>

#include <vector>

namespace parlen {
namespace {

using Lines = std::vector<std::string>;

Lines take(LineSplitter& splitter) {
  Lines lines;
  while (const auto line = splitter.next()) lines.emplace_back(*line);
  return lines;
}

Lines add(LineSplitter& splitter, std::string_view chunk) {
  splitter.append(chunk);
  return take(splitter);
}

TEST(LineSplitter, GivesTheLinesOfAChunk) {
  LineSplitter splitter;
  EXPECT_EQ(add(splitter, "a\nbc\n\nd\r\n"), (Lines{"a", "bc", "", "d\r"}));
}

TEST(LineSplitter, KeepsAPartialLineUntilItsLineFeedArrives) {
  LineSplitter splitter;
  EXPECT_EQ(add(splitter, "{\"type\":\"st"), Lines{});
  EXPECT_EQ(add(splitter, "op\"}"), Lines{});
  EXPECT_EQ(add(splitter, "\nrest"), Lines{"{\"type\":\"stop\"}"});
}

TEST(LineSplitter, GivesTheSameLinesHoweverTheBytesAreSplit) {
  const std::string bytes("first\n\nsecond \xff\0 bytes\n{}\nrest", 30);
  LineSplitter whole;
  const Lines expected = add(whole, bytes);
  ASSERT_EQ(expected.size(), 4U);
  for (std::size_t first = 0; first <= bytes.size(); ++first) {
    for (std::size_t second = first; second <= bytes.size(); ++second) {
      LineSplitter splitter;
      Lines lines = add(splitter, bytes.substr(0, first));
      for (const std::string& line : add(splitter, bytes.substr(first, second - first)))
        lines.push_back(line);
      for (const std::string& line : add(splitter, bytes.substr(second))) lines.push_back(line);
      EXPECT_EQ(lines, expected) << "cut at " << first << " and " << second;
    }
  }
}

TEST(LineSplitter, GivesLinesInOrderWhenMoreIsAppendedInBetween) {
  LineSplitter splitter;
  splitter.append("a\nb\nc");
  EXPECT_EQ(splitter.next(), "a");
  splitter.append("d\n");
  EXPECT_EQ(take(splitter), (Lines{"b", "cd"}));
}

}  // namespace
}  // namespace parlen
