#include "StorageDevices/DeviceNames.h"
#include "tests/support/Regex.h"

#include <gtest/gtest.h>

#include <array>
#include <random>

namespace StorageDevices {
namespace {

#ifdef STORAGEDEVICES_SANITIZED
constexpr int oracleRuns = 5'000;
#else
constexpr int oracleRuns = 100'000;
#endif

TEST(DeviceNamesTest, RecognisesScsiDisksByOneLetter) {
   for (auto const * name : {"sda", "sdz", "hda", "hdc"})
      EXPECT_TRUE(isScsiDiskName(name)) << name;
   for (auto const * name : {"", "sd", "sdaa", "sda1", "sdA", "vda", "sda ", " sda", "sd{", "sd`", "xsda"})
      EXPECT_FALSE(isScsiDiskName(name)) << name;
}

TEST(DeviceNamesTest, RecognisesNvmeNamespacesAndNotPartitions) {
   for (auto const * name : {"nvme0n1", "nvme12n345"})
      EXPECT_TRUE(isNvmeDiskName(name)) << name;
   for (auto const * name :
        {"", "nvme", "nvme0", "nvmen1", "nvme0n", "nvme0n1p1", "nvme0c0n1", "nvme0n1 ", "Nvme0n1"})
      EXPECT_FALSE(isNvmeDiskName(name)) << name;
}

TEST(DeviceNamesTest, RecognisesEmbeddedEmmcDisks) {
   for (auto const * name : {"mmcblk0", "emmcblk0", "mmcblk10"})
      EXPECT_TRUE(isEmmcDiskName(name)) << name;
   for (auto const * name :
        {"", "e", "mmcblk", "mmcblk0p1", "mmcblk0boot0", "eemmcblk0", "mmcblk0\n", "mmcblk0$"})
      EXPECT_FALSE(isEmmcDiskName(name)) << name;
}

TEST(DeviceNamesTest, CutsTheWhiteboxTailOff) {
   EXPECT_EQ(withoutWhiteboxTail("pci0000:00/ata1/1.*$"), "pci0000:00/ata1");
   EXPECT_EQ(withoutWhiteboxTail("a/b/"), "a/b");
   EXPECT_EQ(withoutWhiteboxTail("a/"), "a");
   EXPECT_EQ(withoutWhiteboxTail("/"), "");
   EXPECT_EQ(withoutWhiteboxTail("a//"), "a/");
   EXPECT_EQ(withoutWhiteboxTail("a/.*"), "a");
   EXPECT_EQ(withoutWhiteboxTail("a/*$"), "a");
   EXPECT_EQ(withoutWhiteboxTail("a/1234567890$"), "a");
}

TEST(DeviceNamesTest, KeepsAPatternWithoutSuchATail) {
   for (auto const * pattern :
        {"", "a", "ata1", "a/b", "a/..", "a/.*.*", "a/1.2", "a/$*", "a/*.", "a/1x", "a/$$"})
      EXPECT_EQ(withoutWhiteboxTail(pattern), std::nullopt) << pattern;
   EXPECT_EQ(withoutWhiteboxTail("a\nb/1"), std::nullopt);
   EXPECT_EQ(withoutWhiteboxTail("a\rb/1"), std::nullopt);
   EXPECT_EQ(withoutWhiteboxTail("a/1\n"), std::nullopt);
}

template <std::size_t size>
std::string randomText(std::mt19937 & random, std::array<std::string_view, size> const & pieces) {
   std::string text;
   for (auto count = random() % 7; count > 0; --count)
      text += pieces[random() % size];
   return text;
}

TEST(DeviceNamesTest, ClassifiesNamesAsTheRegularExpressionsDo) {
   static constexpr std::array<std::string_view, 20> pieces{"s", "h",  "d", "a",    "z", "sd",     "nvme",
                                                            "n", "0",  "9", "10",   "e", "mmcblk", "p",
                                                            "$", "\n", "A", "\xE9", "",  "-"};
   Support::Regex const scsi("[hs]d[a-z]");
   Support::Regex const nvme(R"(nvme\d+n\d+)");
   Support::Regex const emmc("e?mmcblk[0-9]+$");
   std::mt19937 random(7);
   int matches = 0;
   for (int i = 0; i < oracleRuns; ++i) {
      std::string const name = randomText(random, pieces);
      ASSERT_EQ(isScsiDiskName(name), !scsi.matchWhole(name).empty()) << name;
      ASSERT_EQ(isNvmeDiskName(name), !nvme.matchWhole(name).empty()) << name;
      ASSERT_EQ(isEmmcDiskName(name), !emmc.matchWhole(name).empty()) << name;
      matches += isScsiDiskName(name) || isNvmeDiskName(name) || isEmmcDiskName(name) ? 1 : 0;
   }
   EXPECT_GT(matches, oracleRuns / 500);
}

TEST(DeviceNamesTest, CutsTheTailAsTheRegularExpressionDoes) {
   static constexpr std::array<std::string_view, 16> pieces{
       "/", "/",    "/",  "1",  "42",           ".",    "*", "$",
       "a", "ata1", "\n", "\r", "\xE2\x80\xA8", "\x85", " ", std::string_view("\0", 1)};
   Support::Regex const tail(R"((.*)/\d*\.?\*?\$?$)");
   std::mt19937 random(8);
   int cut = 0;
   for (int i = 0; i < oracleRuns; ++i) {
      std::string const pattern = randomText(random, pieces);
      auto const match = tail.matchWhole(pattern);
      auto const expected = match.empty() ? std::nullopt : std::optional(std::string{match[1]});
      ASSERT_EQ(withoutWhiteboxTail(pattern), expected) << testing::PrintToString(pattern);
      cut += match.empty() ? 0 : 1;
   }
   EXPECT_GT(cut, oracleRuns / 20);
   EXPECT_LT(cut, oracleRuns - oracleRuns / 20);
}

}  // namespace
}  // namespace StorageDevices
