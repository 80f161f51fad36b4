#include "text/json_value.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace parlen::text {
namespace {

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t highestUnsigned = std::numeric_limits<std::uint64_t>::max();

TEST(JsonValue, IsNullUnlessGivenAnythingElse) {
  EXPECT_TRUE(JsonValue().isNull());
  EXPECT_FALSE(JsonValue(false).isNull());
  EXPECT_FALSE(JsonValue(JsonObject()).isNull());
}

TEST(JsonValue, GivesItsContentOnlyAsWhatItIs) {
  const JsonValue values[] = {JsonValue(),         true, 5, 0.5, "text", JsonArray{1},
                              JsonObject{{"a", 1}}};
  for (std::size_t index = 0; index < std::size(values); ++index) {
    const JsonValue& value = values[index];
    EXPECT_EQ(value.isNull(), index == 0) << index;
    EXPECT_EQ(value.asBoolean().has_value(), index == 1) << index;
    EXPECT_EQ(value.asInt64().has_value(), index == 2) << index;
    EXPECT_EQ(value.asUInt64().has_value(), index == 2) << index;
    EXPECT_EQ(value.asDouble().has_value(), index == 2 || index == 3) << index;
    EXPECT_EQ(value.asString() != nullptr, index == 4) << index;
    EXPECT_EQ(value.asArray() != nullptr, index == 5) << index;
    EXPECT_EQ(value.asObject() != nullptr, index == 6) << index;
  }
}

TEST(JsonValue, KeepsABooleanApartFromNumbersAndTexts) {
  EXPECT_EQ(JsonValue(true).asBoolean(), true);
  EXPECT_EQ(JsonValue(false).asBoolean(), false);
  EXPECT_EQ(JsonValue("true").asBoolean(), std::nullopt);
  EXPECT_NE(JsonValue(true), JsonValue(1));
}

TEST(JsonValue, GivesAnIntegerOnlyWhereItFits) {
  EXPECT_EQ(JsonValue(lowest).asInt64(), lowest);
  EXPECT_EQ(JsonValue(lowest).asUInt64(), std::nullopt);
  EXPECT_EQ(JsonValue(-1).asInt64(), -1);
  EXPECT_EQ(JsonValue(-1).asUInt64(), std::nullopt);
  EXPECT_EQ(JsonValue(0).asUInt64(), 0U);
  EXPECT_EQ(JsonValue(highest).asInt64(), highest);
  EXPECT_EQ(JsonValue(highest).asUInt64(), static_cast<std::uint64_t>(highest));
  EXPECT_EQ(JsonValue(highestUnsigned).asInt64(), std::nullopt);
  EXPECT_EQ(JsonValue(highestUnsigned).asUInt64(), highestUnsigned);
}

TEST(JsonValue, GivesAnyNumberAsADouble) {
  EXPECT_EQ(JsonValue(-3).asDouble(), -3.0);
  EXPECT_EQ(JsonValue(0.25).asDouble(), 0.25);
  EXPECT_EQ(JsonValue(highestUnsigned).asDouble(), 18446744073709551616.0);
}

TEST(JsonValue, IsTheSameIntegerWhateverTypeItWasGivenAs) {
  EXPECT_EQ(JsonValue(7), JsonValue(std::uint64_t{7}));
  EXPECT_EQ(JsonValue(std::int64_t{7}), JsonValue(std::uint16_t{7}));
  EXPECT_NE(JsonValue(-1), JsonValue(highestUnsigned));
}

TEST(JsonValue, FindsTheMembersOfAnObject) {
  const JsonValue value = JsonObject{{"type", "stop"}, {"delayMs", 60}};

  ASSERT_NE(value.find("type"), nullptr);
  EXPECT_EQ(*value.find("type")->asString(), "stop");
  EXPECT_EQ(value.find("delayMs")->asInt64(), 60);
}

TEST(JsonValue, ReturnsNullForAnotherKeyOrInAnotherKind) {
  const JsonValue value = JsonObject{{"type", "stop"}};

  EXPECT_EQ(value.find("Type"), nullptr);
  EXPECT_EQ(value.find(""), nullptr);
  EXPECT_EQ(value.find("typ"), nullptr);
  EXPECT_EQ(JsonValue("type").find("type"), nullptr);
  EXPECT_EQ(JsonValue(JsonArray{"type"}).find("type"), nullptr);
  EXPECT_EQ(JsonValue().find("type"), nullptr);
}

TEST(JsonValue, GivesAMemberOfTheKindThatIsAskedFor) {
  const JsonValue value =
      JsonObject{{"text", ""}, {"integer", -3}, {"large", highestUnsigned}, {"boolean", false}};

  EXPECT_EQ(value.text("text"), "");
  EXPECT_EQ(value.integer("integer"), -3);
  EXPECT_EQ(value.unsignedInteger("large"), highestUnsigned);
  EXPECT_EQ(value.boolean("boolean"), false);
}

TEST(JsonValue, GivesNoMemberThatIsMissingOrOfAnotherKind) {
  const JsonValue value = JsonObject{{"text", "1"}, {"integer", -3}, {"boolean", true}};

  EXPECT_EQ(value.text("integer"), std::nullopt);
  EXPECT_EQ(value.integer("boolean"), std::nullopt);
  EXPECT_EQ(value.unsignedInteger("integer"), std::nullopt);
  EXPECT_EQ(value.boolean("text"), std::nullopt);
  EXPECT_EQ(value.text("none"), std::nullopt);
  EXPECT_EQ(value.integer("none"), std::nullopt);
  EXPECT_EQ(value.unsignedInteger("none"), std::nullopt);
  EXPECT_EQ(value.boolean("none"), std::nullopt);
  EXPECT_EQ(JsonValue("text").text("text"), std::nullopt);
}

}  // namespace
}  // namespace parlen::text
