#include <gtest/gtest.h>

#include "support/tool.h"

namespace parlen::test {
namespace {

TEST(Story, A) {
  Tool tool(R"({"machine":{"shutdownMs":200},
    "script":[{"atMs":300,"event":"clicks-later"},{"atMs":400,"event":"clicks-done"},
              {"atMs":800,"event":"closes-window"}]})");
  tool.sendAt(100, "{\"type\":\"window\",\"show\":true,\"title\":\"Installing\",\"detail\":\"step 2 of 3\"}\n");
  tool.sendAt(200, "{\"type\":\"window\",\"show\":true,\"title\":\"Sign in\"}\n{\"type\":\"text\",\"text\":\"a\"}\n");
  tool.sendAt(500, "{\"type\":\"window\",\"show\":false}\n");
  tool.sendAt(600, "{\"type\":\"window\",\"show\":true,\"title\":\"Sign in\"}\n");
  tool.sendAt(1000, "{\"type\":\"stop\"}\n");
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1")}), endedWith(0));
  puts(tool.read("trace.jsonl").c_str());
  puts(tool.system().streams().output.c_str());
  puts(tool.warnings().c_str());
}
TEST(Story, B) {
  Tool tool(R"({"machine":{"shutdownMs":200},
    "window":{"views":{"name":"guest","acceptsFirstResponder":false,"subviews":[{"name":"frame","acceptsFirstResponder":false},{"name":"display"}]}},
    "script":[{"atMs":1000,"event":"closes-window"}]})");
  tool.sendAt(100, "{\"type\":\"text\",\"text\":\"Hi\\n\",\"delayMs\":100}\n{\"type\":\"key\",\"key\":\"cmd+shift+t\"}\n");
  tool.sendAt(900, "{\"type\":\"window\",\"show\":true}\n{\"type\":\"window\",\"show\":false}\n");
  tool.sendAt(1100, "{\"type\":\"key\",\"key\":\"return\",\"delayMs\":20}\n");
  tool.sendAt(2000, "{\"type\":\"stop\"}\n");
  EXPECT_EQ(tool.run({"run", "--bundle", tool.makeBundle("vm1"), "--gui"}), endedWith(0));
  puts(tool.read("trace.jsonl").c_str());
  puts(tool.system().streams().output.c_str());
  puts(tool.warnings().c_str());
}
}  // namespace
}  // namespace parlen::test
