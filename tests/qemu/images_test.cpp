#include "platform/qemu/images.h"

#include <gmock/gmock.h>

namespace parlen::qemu {
namespace {

using testing::DoubleEq;
using testing::ElementsAre;
using testing::IsEmpty;

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

/// A header whose partition table, in block 1, names this last usable block.
std::string withGpt(std::size_t blockLength, std::uint64_t lastUsableBlock) {
  std::string header = withBytes(blockLength, "EFI PART");
  for (std::size_t i = 0; i < 8; ++i) {
    header[blockLength + 48 + i] = static_cast<char>(lastUsableBlock >> (8 * i));
  }
  return header;
}

TEST(ImageHeader, NamesTheEndOfItsPartitions) {
  EXPECT_EQ(requiredLength(withGpt(512, 2047)), 2048U * 512U);
  EXPECT_EQ(requiredLength(withGpt(4096, 1'000'000)), 1'000'001U * 4096U);
  EXPECT_EQ(requiredLength(withGpt(512, ~0ULL)), ~0ULL - 511);
  EXPECT_EQ(requiredLength(withGpt(512, 0)), 1024U);  // its own block
  EXPECT_EQ(requiredLength(withGpt(512, 2047).substr(0, 520)), 1024U);
}

TEST(ImageHeader, WithoutAPartitionTableNamesNoEnd) {
  EXPECT_EQ(requiredLength(""), 0U);
  EXPECT_EQ(requiredLength(withBytes(510, "\x55\xaa")), 0U);
  EXPECT_EQ(requiredLength(withGpt(512, 2047).substr(0, 519)), 0U);
}

TEST(ImageHeader, NamesTheEndOnlyIfItsBootRecordIsProtective) {
  std::string header = withGpt(512, 2047);
  header.replace(510, 2, "\x55\xaa");

  EXPECT_EQ(requiredLength(header), 0U);
  for (const std::size_t entry : {0U, 1U, 2U, 3U}) {
    std::string hybrid = header;
    hybrid[450 + 16 * entry] = '\xee';
    EXPECT_EQ(requiredLength(hybrid), 2048U * 512U) << entry;
  }
  header[449] = '\xee';  // not a type
  EXPECT_EQ(requiredLength(header), 0U);
}

TEST(ImageHeader, OfACompleteImageReachesNothingElse) {
  EXPECT_EQ(reachesOutside(""), std::nullopt);
  EXPECT_EQ(reachesOutside(qcow2(2)), std::nullopt);
  EXPECT_EQ(reachesOutside(qcow2(3)), std::nullopt);
  EXPECT_EQ(reachesOutside(withBytes(510, "\x55\xaa")), std::nullopt);
  EXPECT_EQ(reachesOutside("# a shell script\necho version=1\n"), std::nullopt);
}

TEST(ImageHeader, RecognizesABackingFile) {
  std::string header = qcow2(3);
  header[14] = 1;

  EXPECT_EQ(reachesOutside(header), "needs a backing file");
}

TEST(ImageHeader, RecognizesAnExternalDataFile) {
  std::string header = qcow2(3);
  header[79] = 4;

  EXPECT_EQ(reachesOutside(header), "keeps its data in another file");
  header[7] = 2;  // what stands there then means something else
  EXPECT_EQ(reachesOutside(header), std::nullopt);
}

TEST(ImageHeader, RecognizesAVmdkDescriptorInEachOfItsForms) {
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

TEST(ImagePaths, AreNeverTakenForAnythingElse) {
  EXPECT_EQ(fileNode("-f"), "file:-f");
  EXPECT_EQ(fileNode("nbd:localhost:1"), "file:nbd:localhost:1");
  EXPECT_EQ(fileNode("json:{}"), "file:json:{}");
  EXPECT_EQ(deviceNode("/dev/sdz"), "host_device:/dev/sdz");
}

TEST(ImageInfo, NamesTheFormatOfACompleteImage) {
  EXPECT_EQ(usableFormat(R"({"virtual-size": 1, "filename": "a", "format": "raw"})"), "raw");
  EXPECT_EQ(usableFormat(R"({"format": "qcow2", "encrypted": false,
                             "format-specific": {"type": "qcow2", "data": {"compat": "1.1"}}})"),
            "qcow2");
}

TEST(ImageInfo, HasTheLengthOfTheDisk) {
  EXPECT_EQ(virtualSize(R"({"virtual-size": 4294967296, "format": "qcow2"})"), 1ULL << 32);
  EXPECT_EQ(virtualSize(R"({"virtual-size": "1"})"), 0U);
  EXPECT_EQ(virtualSize("{}"), 0U);
  EXPECT_EQ(virtualSize("{"), 0U);
}

TEST(ImageInfo, RecognizesABackingFile) {
  const auto reason = std::unexpected(std::string("needs a backing file"));

  EXPECT_EQ(usableFormat(R"({"format": "qcow2", "backing-filename": "/etc/passwd"})"), reason);
  EXPECT_EQ(usableFormat(R"({"format": "qed", "full-backing-filename": "x"})"), reason);
}

TEST(ImageInfo, RecognizesAnExternalDataFile) {
  EXPECT_EQ(usableFormat(R"({"format": "qcow2",
                             "format-specific": {"data": {"data-file": "/etc/passwd"}}})"),
            std::unexpected("keeps its data in another file"));
}

TEST(ImageInfo, RecognizesAnImageOfSeveralFiles) {
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

TEST(ImageInfo, RecognizesAnEncryptedImage) {
  EXPECT_EQ(usableFormat(R"({"format": "qcow2", "encrypted": true})"),
            std::unexpected("is encrypted"));
}

TEST(ImageInfo, RefusesWhatItCannotRead) {
  EXPECT_EQ(usableFormat("{}"), std::unexpected("cannot be examined: its format is not known"));
  EXPECT_EQ(usableFormat(R"({"format": 5})"),
            std::unexpected("cannot be examined: its format is not known"));
  EXPECT_FALSE(usableFormat(""));
  EXPECT_FALSE(usableFormat("qemu-img has printed something else"));
}

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

TEST(ConvertProgress, SkipsWhatIsNoPercentage) {
  for (const char* output : {"(/", "(5/100%)", "(.50/100%)", "(5.5/100%)", "(1.2.3/", "(-1.00/",
                             "(1234567.89/", "12.34/100%)", "(12.34%)", "(1 2.34/"}) {
    EXPECT_THAT(ConvertProgress().add(output), IsEmpty()) << output;
  }
}

}  // namespace
}  // namespace parlen::qemu
