#include "platform/qemu/convert_progress.h"

#include <gmock/gmock.h>

namespace parlen::qemu {
namespace {

using testing::DoubleEq;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(ConvertProgress, ReadsEachFraction) {
  ConvertProgress progress;

  EXPECT_THAT(progress.add("    (0.00/100%)\r    (12.34/100%)\r    (100.00/100%)\r\n"),
              ElementsAre(0.0, DoubleEq(0.1234), 1.0));
}

TEST(ConvertProgress, ReadsTheSameHoweverTheOutputIsCut) {
  const std::string output = "    (7.50/100%)\r    (100.00/100%)\r\n";
  for (std::size_t cut = 0; cut <= output.size(); ++cut) {
    ConvertProgress progress;
    auto fractions = progress.add(output.substr(0, cut));
    for (const double fraction : progress.add(output.substr(cut))) fractions.push_back(fraction);
    EXPECT_THAT(fractions, ElementsAre(DoubleEq(0.075), 1.0)) << "cut at " << cut;
  }
}

TEST(ConvertProgress, NeverGoesBeyondTheWhole) {
  EXPECT_THAT(ConvertProgress().add("(999.99/100%)"), ElementsAre(1.0));
}

TEST(ConvertProgress, LeavesOutWhatIsNoPercentage) {
  for (const char* output : {"(/", "(5/100%)", "(.50/100%)", "(5.5/100%)", "(1.2.3/", "(-1.00/",
                             "(1234567.89/", "12.34/100%)", "(12.34%)", "(1 2.34/"}) {
    EXPECT_THAT(ConvertProgress().add(output), IsEmpty()) << output;
  }
}

}  // namespace
}  // namespace parlen::qemu
