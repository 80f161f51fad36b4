#include "platform/qemu/window_module.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include "platform/linux/event_loop.h"
#include "support/temporary_directory.h"

namespace parlen::qemu {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

TEST(WindowModule, IsLookedForBesideTheProgramFirst) {
  const auto paths = windowModulePaths("/opt/tool/bin/parlen-mac-vm");

  ASSERT_EQ(paths.size(), 2U);
  EXPECT_EQ(paths[0], "/opt/tool/bin/parlen-mac-vm-gtk.so");
  EXPECT_THAT(paths[1], StartsWith("/opt/tool/bin/../lib"));
  EXPECT_THAT(paths[1], EndsWith("/parlen-mac-vm/parlen-mac-vm-gtk.so"));
}

TEST(WindowModule, IsNamedWithEveryPlaceWhereItIsMissing) {
  const auto module = loadWindowModule({"/none/a.so", "/none/b.so"});

  ASSERT_FALSE(module);
  EXPECT_EQ(module.error().description,
            "the window module is missing: it is neither at /none/a.so nor at /none/b.so");
}

TEST(WindowModule, IsRefusedWithTheLoadersReasonIfItIsNoLibrary) {
  const test::TemporaryDirectory folder;
  const std::string path = folder.path() + "/module.so";
  const posix::Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(4, write(file.get(), "text", 4));

  const auto module = loadWindowModule({"/none/a.so", path});

  ASSERT_FALSE(module);
  EXPECT_THAT(module.error().description,
              StartsWith("could not load the window module " + path + ": "));
}

TEST(WindowModule, IsRefusedIfItIsAnotherLibrary) {
  Dl_info library{};
  ASSERT_NE(dladdr(dlsym(RTLD_DEFAULT, "getpid"), &library), 0);

  const auto module = loadWindowModule({library.dli_fname});

  ASSERT_FALSE(module);
  EXPECT_THAT(module.error().description, HasSubstr("belongs to another build of this tool"));
}

TEST(WindowModule, IsNotEvenLookedForWithoutADisplay) {
  linux::EventLoop loop;
  const auto desktop = openDesktop({}, {loop, [](std::string_view) {}, nullptr});

  ASSERT_FALSE(desktop);
  EXPECT_EQ(desktop.error().description,
            "there is no display: neither DISPLAY nor WAYLAND_DISPLAY is set");
}

}  // namespace
}  // namespace parlen::qemu
