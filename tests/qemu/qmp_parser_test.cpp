#include "platform/qemu/qmp_parser.h"

#include <gmock/gmock.h>

#include <string>

namespace parlen::qemu {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

QmpEvent event(std::string name, text::JsonValue data = {}) {
  return {.name = std::move(name), .data = std::move(data)};
}

TEST(QmpParser, ReadsGreetingRepliesAndEvents) {
  QmpParser parser;

  EXPECT_THAT(
      parser.add("{\"QMP\": {\"version\": {}, \"capabilities\": [\"oob\"]}}\r\n"
                 "{\"return\": {}, \"id\": 7}\r\n"
                 "{\"error\": {\"class\": \"GenericError\", \"desc\": \"no\"}, \"id\": 8}\n"
                 "{\"timestamp\": {}, \"event\": \"STOP\"}\n"
                 "{\"event\": \"SHUTDOWN\", \"data\": {\"guest\": true}}\n"),
      ElementsAre(QmpMessage(QmpGreeting{}), QmpMessage(QmpReply{.id = 7, .error = std::nullopt}),
                  QmpMessage(QmpReply{.id = 8, .error = "no"}), QmpMessage(event("STOP")),
                  QmpMessage(event("SHUTDOWN", text::JsonObject{{"guest", true}}))));
}

TEST(QmpParser, GivesTheSameMessagesHoweverTheStreamIsCut) {
  const std::string stream =
      "{\"QMP\": {}}\r\n{\"return\": {}, \"id\": 1}\r\n{\"event\": \"RESUME\"}\r\n";
  const auto expected = QmpParser().add(stream);
  ASSERT_THAT(expected, SizeIs(3));

  for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
    QmpParser parser;
    auto messages = parser.add(stream.substr(0, cut));
    for (const auto& message : parser.add(stream.substr(cut))) messages.push_back(message);
    EXPECT_EQ(messages, expected) << "cut at " << cut;
  }
}

TEST(QmpParser, SkipsWhatIsNoMessage) {
  QmpParser parser;

  EXPECT_THAT(parser.add("\n[]\n1\nnot JSON\n{\"event\": 5}\n{}\n{\"event\":\"A\"}\n"),
              ElementsAre(QmpMessage(event("A"))));
}

TEST(QmpParser, ReadsAReplyWithoutAnId) {
  QmpParser parser;

  EXPECT_THAT(parser.add("{\"error\": {\"desc\": \"bad\"}}\n{\"error\": 1, \"id\": \"x\"}\n"),
              ElementsAre(QmpMessage(QmpReply{.id = std::nullopt, .error = "bad"}),
                          QmpMessage(QmpReply{.id = std::nullopt, .error = "unknown error"})));
}

TEST(QmpParser, SkipsALineThatIsTooLong) {
  QmpParser parser;
  const std::string half(QmpParser::maxLineLength, ' ');

  EXPECT_THAT(parser.add(half), IsEmpty());
  EXPECT_THAT(parser.add(half), IsEmpty());
  EXPECT_THAT(parser.add("{\"event\":\"A\"}\n{\"event\":\"B\"}\n"),
              ElementsAre(QmpMessage(event("B"))));
}

TEST(QmpEvent, GivesItsDataByName) {
  const QmpEvent shutdown =
      event("SHUTDOWN", text::JsonObject{{"guest", true}, {"reason", "guest-shutdown"}});

  EXPECT_EQ(shutdown.data.boolean("guest"), true);
  EXPECT_EQ(shutdown.data.text("reason"), "guest-shutdown");
  EXPECT_EQ(shutdown.data.boolean("reason"), std::nullopt);
  EXPECT_EQ(shutdown.data.text("guest"), std::nullopt);
  EXPECT_EQ(event("STOP").data.text("reason"), std::nullopt);
}

}  // namespace
}  // namespace parlen::qemu
