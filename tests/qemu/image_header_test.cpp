#include "platform/qemu/image_header.h"

#include <gtest/gtest.h>

#include <string>

namespace parlen::qemu {
namespace {

std::string withBytes(std::size_t offset, std::string_view bytes) {
  std::string header(imageHeaderLength, '\0');
  header.replace(offset, bytes.size(), bytes);
  return header;
}

/// The front of a QCOW2 image of the given version.
std::string qcow2(char version) {
  std::string header(104, '\0');
  header.replace(0, 4, "QFI\xfb");
  header[7] = version;
  return header;
}

TEST(ImageHeader, OfADiskHasABootSignatureOrAPartitionTable) {
  EXPECT_TRUE(looksLikeDisk(withBytes(510, "\x55\xaa")));
  EXPECT_TRUE(looksLikeDisk(withBytes(512, "EFI PART")));
  EXPECT_TRUE(looksLikeDisk(withBytes(4096, "EFI PART")));
}

TEST(ImageHeader, OfAnOpticalDiscHasAVolumeDescriptor) {
  EXPECT_TRUE(looksLikeDisk(withBytes(32769, "CD001")));
}

TEST(ImageHeader, OfAnythingElseIsNoDisk) {
  EXPECT_FALSE(looksLikeDisk(""));
  EXPECT_FALSE(looksLikeDisk("\x1f\x8b"));
  EXPECT_FALSE(looksLikeDisk(std::string(imageHeaderLength, '\0')));
  EXPECT_FALSE(looksLikeDisk(withBytes(509, "\x55\xaa")));
  EXPECT_FALSE(looksLikeDisk(withBytes(510, "\x55\xaa").substr(0, 511)));
}

TEST(ImageHeader, OfACompleteImageReachesNothingElse) {
  EXPECT_EQ(reachesOutside(""), std::nullopt);
  EXPECT_EQ(reachesOutside(qcow2(2)), std::nullopt);
  EXPECT_EQ(reachesOutside(qcow2(3)), std::nullopt);
  EXPECT_EQ(reachesOutside(withBytes(510, "\x55\xaa")), std::nullopt);
  EXPECT_EQ(reachesOutside("# a shell script\necho version=1\n"), std::nullopt);
}

TEST(ImageHeader, TellsABackingFile) {
  std::string header = qcow2(3);
  header[14] = 1;

  EXPECT_EQ(reachesOutside(header), "needs a backing file");
}

TEST(ImageHeader, TellsAnExternalDataFile) {
  std::string header = qcow2(3);
  header[79] = 4;

  EXPECT_EQ(reachesOutside(header), "keeps its data in another file");
  header[7] = 2;  // what stands there then means something else
  EXPECT_EQ(reachesOutside(header), std::nullopt);
}

TEST(ImageHeader, TellsAVmdkDescriptorInEachOfItsForms) {
  std::string sparse = "KDMV" + std::string(100, '\0');
  const char* sentence = "is a VMDK descriptor, which names other files";

  EXPECT_EQ(reachesOutside("# Disk DescriptorFile\nversion=1\n"), sentence);
  EXPECT_EQ(reachesOutside("# Disk DescriptorFile\n \t\r\n\nversion=1\n"), sentence);
  EXPECT_EQ(reachesOutside("version=1"), sentence);
  EXPECT_EQ(reachesOutside("#\r\n\r\nversion=3\r\n"), sentence);
  EXPECT_EQ(reachesOutside("version=1\n"), sentence);
  EXPECT_EQ(reachesOutside(sparse), sentence);
  sparse[13] = 1;
  EXPECT_EQ(reachesOutside(sparse), std::nullopt);
}

}  // namespace
}  // namespace parlen::qemu
