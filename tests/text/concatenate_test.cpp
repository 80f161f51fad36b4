#include "text/concatenate.h"

#include <gtest/gtest.h>

#include <string>

namespace parlen::text {
namespace {

TEST(Concatenate, PutsThePartsOneAfterTheOther) {
  EXPECT_EQ(concatenate({}), "");
  EXPECT_EQ(concatenate({"", "a", "", "bc"}), "abc");
}

TEST(Concatenate, TakesNoMoreMemoryThanTheWhole) {
  const std::string part(1000, 'x');
  EXPECT_EQ(concatenate({"'", part, "'"}).capacity(), part.size() + 2);
}

}  // namespace
}  // namespace parlen::text
