#include "platform/linux/find_program.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string>

#include "support/environment_variable.h"
#include "support/posix_fixtures.h"
#include "support/temporary_directory.h"

namespace parlen::test {
namespace {

using linux::findProgram;

void putProgram(const std::string& path, mode_t mode = 0755) {
  putFile(path, "");
  ASSERT_EQ(0, chmod(path.c_str(), mode));
}

TEST(FindProgram, TakesTheFirstInThePath) {
  const TemporaryDirectory one;
  const TemporaryDirectory two;
  putProgram(one / "sh");
  putProgram(two / "sh");
  const PathVariable path(two.path() + ":" + one.path() + ":/bin");

  EXPECT_EQ(two / "sh", findProgram("sh"));
}

TEST(FindProgram, LooksInTheSystemsDirectoriesAfterThePath) {
  const TemporaryDirectory empty;
  for (const auto& value : {std::optional<std::string>(), std::optional<std::string>(""),
                            std::optional<std::string>(empty.path())}) {
    const PathVariable path(value);

    EXPECT_EQ("/usr/bin/env", findProgram("env")) << value.value_or("(unset)");
  }
}

TEST(FindProgram, PassesOverWhatMayNotBeExecuted) {
  const TemporaryDirectory data;
  const TemporaryDirectory directories;
  const TemporaryDirectory programs;
  putProgram(data / "tool", 0644);
  ASSERT_EQ(0, mkdir((directories / "tool").c_str(), 0755));
  const std::string unusable = data.path() + ":" + directories.path() + ":/no/such:/etc/passwd";
  putProgram(programs / "tool");

  EXPECT_EQ(programs / "tool", findProgram("tool", unusable + ":" + programs.path()));
  EXPECT_EQ(EACCES, findProgram("tool", unusable).error());
  const PathVariable path(unusable);
  EXPECT_EQ(EACCES, findProgram("tool").error());
}

TEST(FindProgram, TakesAnEmptyEntryForTheWorkingDirectory) {
  EXPECT_EQ(0, inChild([] {
              if (chdir("/bin") != 0) return 1;
              return findProgram("sh", "/no/such:") == "./sh" ? 0 : 2;
            }));
}

TEST(FindProgram, TakesANameWithASlashForAPath) {
  const PathVariable path("/");

  EXPECT_EQ("/bin/sh", findProgram("/bin/sh"));
  EXPECT_EQ(ENOENT, findProgram("bin/parlen-no-such-program").error());
  EXPECT_EQ(EACCES, findProgram("/etc/passwd").error());
}

TEST(FindProgram, FindsNothingWhereThereIsNothing) {
  EXPECT_EQ(ENOENT, findProgram("parlen-no-such-program").error());
  EXPECT_EQ(ENOENT, findProgram("sh", "/etc/passwd:/no/such").error());
}

}  // namespace
}  // namespace parlen::test
