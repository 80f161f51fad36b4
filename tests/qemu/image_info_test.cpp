#include "platform/qemu/image_info.h"

#include <gtest/gtest.h>

namespace parlen::qemu {
namespace {

TEST(ImageInfo, NamesTheFormatOfACompleteImage) {
  EXPECT_EQ(usableFormat(R"({"virtual-size": 1, "filename": "a", "format": "raw"})"), "raw");
  EXPECT_EQ(usableFormat(R"({"format": "qcow2", "encrypted": false,
                             "format-specific": {"type": "qcow2", "data": {"compat": "1.1"}}})"),
            "qcow2");
}

TEST(ImageInfo, TellsABackingFile) {
  const auto reason = std::unexpected(std::string("needs a backing file"));

  EXPECT_EQ(usableFormat(R"({"format": "qcow2", "backing-filename": "/etc/passwd"})"), reason);
  EXPECT_EQ(usableFormat(R"({"format": "qed", "full-backing-filename": "x"})"), reason);
}

TEST(ImageInfo, TellsAnExternalDataFile) {
  EXPECT_EQ(usableFormat(R"({"format": "qcow2",
                             "format-specific": {"data": {"data-file": "/etc/passwd"}}})"),
            std::unexpected("keeps its data in another file"));
}

TEST(ImageInfo, TellsAnImageOfSeveralFiles) {
  const auto reason = std::unexpected(std::string("consists of several files"));
  const auto withExtents = [](const std::string& extents) {
    return usableFormat(R"({"filename": "a.vmdk", "format": "vmdk",
                            "format-specific": {"data": {"extents": )" +
                        extents + "}}}");
  };

  EXPECT_EQ(withExtents(R"([{"filename": "a.vmdk"}])"), "vmdk");
  EXPECT_EQ(withExtents(R"([{"filename": "/etc/passwd"}])"), reason);
  EXPECT_EQ(withExtents(R"([{"filename": "a.vmdk"}, {"filename": "b"}])"), reason);
  EXPECT_EQ(withExtents("[]"), reason);
  EXPECT_EQ(withExtents("[{}]"), reason);
  EXPECT_EQ(withExtents("5"), reason);
}

TEST(ImageInfo, TellsAnEncryptedImage) {
  EXPECT_EQ(usableFormat(R"({"format": "qcow2", "encrypted": true})"),
            std::unexpected("is encrypted"));
}

TEST(ImageInfo, TellsWhatItCannotRead) {
  EXPECT_EQ(usableFormat("{}"), std::unexpected("cannot be examined: its format is not known"));
  EXPECT_EQ(usableFormat(R"({"format": 5})"),
            std::unexpected("cannot be examined: its format is not known"));
  EXPECT_FALSE(usableFormat(""));
  EXPECT_FALSE(usableFormat("qemu-img has printed something else"));
}

}  // namespace
}  // namespace parlen::qemu
