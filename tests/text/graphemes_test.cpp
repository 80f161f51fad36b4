#include "text/graphemes.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "text/grapheme_table.h"
#include "text/utf8.h"

namespace parlen::text {
namespace {

using Clusters = std::vector<std::string>;

Clusters clustersOf(std::string_view text) {
  Clusters clusters;
  while (!text.empty()) {
    const std::string_view cluster = nextGrapheme(text);
    clusters.emplace_back(cluster);
    if (cluster.empty()) break;
    text.remove_prefix(cluster.size());
  }
  return clusters;
}

/// A line of GraphemeBreakTest.txt: hexadecimal code points, "÷" where clusters end, "×" where they
/// do not.
Clusters expectedClusters(const std::string& line) {
  Clusters clusters;
  std::istringstream words(line);
  for (std::string word; words >> word;) {
    if (word == "÷") {
      clusters.emplace_back();
    } else if (word != "×") {
      appendUtf8(clusters.back(), static_cast<char32_t>(std::stoul(word, nullptr, 16)));
    }
  }
  clusters.pop_back();  // the last sign begins an empty one
  return clusters;
}

TEST(Graphemes, DividesEveryLineOfTheDatabasesTest) {
  std::ifstream file(PARLEN_GRAPHEME_BREAK_TEST);
  if (!file) GTEST_SKIP() << PARLEN_GRAPHEME_BREAK_TEST << " is missing";

  int lines = 0;
  for (std::string line; std::getline(file, line);) {
    const std::string sample = line.substr(0, line.find('#'));
    if (sample.empty()) continue;
    const Clusters expected = expectedClusters(sample);
    std::string text;
    for (const std::string& cluster : expected) text += cluster;
    EXPECT_EQ(clustersOf(text), expected) << line;
    ++lines;
  }
  EXPECT_EQ(lines, 602);
}

TEST(Graphemes, ReturnsAnEmptyClusterForAnEmptyText) { EXPECT_EQ(nextGrapheme(""), ""); }

TEST(Graphemes, DividesAsciiIntoItsCharacters) {
  for (char character = 0; character < 0x7F; ++character) {
    const std::string text(2, character);
    EXPECT_EQ(nextGrapheme(text), text.substr(0, 1)) << static_cast<int>(character);
  }
}

TEST(Graphemes, KeepsACarriageReturnAndItsLineFeedTogether) {
  EXPECT_EQ(clustersOf("x\r\ny"), (Clusters{"x", "\r\n", "y"}));
  EXPECT_EQ(clustersOf("\n\r"), (Clusters{"\n", "\r"}));
  EXPECT_EQ(clustersOf("\r\r\n\n"), (Clusters{"\r", "\r\n", "\n"}));
}

TEST(Graphemes, KeepsALetterAndItsMarksTogether) {
  EXPECT_EQ(clustersOf("e\u0301\u0302f"), (Clusters{"e\u0301\u0302", "f"}));
  EXPECT_EQ(clustersOf("\n\u0301"), (Clusters{"\n", "\u0301"}));
  EXPECT_EQ(clustersOf("\u0E01\u0E33"), (Clusters{"\u0E01\u0E33"}));
}

TEST(Graphemes, PairsRegionalIndicators) {
  const std::string d = "\U0001F1E9";
  const std::string e = "\U0001F1EA";
  EXPECT_EQ(clustersOf(d + e + d + e + d), (Clusters{d + e, d + e, d}));
  EXPECT_EQ(clustersOf(d + "\u0301" + e), (Clusters{d + "\u0301", e}));
  EXPECT_EQ(clustersOf("\u0600" + d + e + d), (Clusters{"\u0600" + d + e, d}));
}

TEST(Graphemes, JoinsEmojiOnlyWhereAJoinerFollowsAnEmoji) {
  const std::string woman = "\U0001F469";
  const std::string tone = "\U0001F3FD";
  const std::string joiner = "\u200D";
  EXPECT_EQ(clustersOf(woman + tone + joiner + woman + joiner + woman),
            (Clusters{woman + tone + joiner + woman + joiner + woman}));
  EXPECT_EQ(clustersOf(woman + woman), (Clusters{woman, woman}));
  EXPECT_EQ(clustersOf("a" + joiner + woman), (Clusters{"a" + joiner, woman}));
  EXPECT_EQ(clustersOf(woman + joiner + joiner + woman),
            (Clusters{woman + joiner + joiner, woman}));
}

TEST(Graphemes, BuildsHangulSyllables) {
  EXPECT_EQ(clustersOf("\u1112\u1161\u11AB\u1100\uAC00\u11A8\uAC01\u11A8\u1161"),
            (Clusters{"\u1112\u1161\u11AB", "\u1100\uAC00\u11A8", "\uAC01\u11A8", "\u1161"}));
}

TEST(Graphemes, TreatsInvalidBytesAsCharactersOfTheirOwn) {
  EXPECT_EQ(clustersOf("\xFF\xFF"), (Clusters{"\xFF", "\xFF"}));
  EXPECT_EQ(clustersOf("a\xE2\x82"), (Clusters{"a", "\xE2\x82"}));
  EXPECT_EQ(clustersOf("\xFF\u0301"), (Clusters{"\xFF\u0301"}));
}

TEST(GraphemeTable, IsSortedWithoutOverlapsAndWithoutTheDefault) {
  char32_t next = 0;
  for (const GraphemeRange& range : graphemeRanges()) {
    EXPECT_LE(next, range.first);
    EXPECT_LE(range.first, range.last);
    EXPECT_NE(range.property, GraphemeBreak::other);
    next = range.last + 1;
  }
  EXPECT_LE(next, char32_t{0x110000});
}

}  // namespace
}  // namespace parlen::text
