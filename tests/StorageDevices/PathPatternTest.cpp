#include "StorageDevices/PathPattern.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace StorageDevices {
namespace {

TEST(PathPatternTest, ReplacesTheConversionByTheName) {
   EXPECT_EQ(pathFromPattern("/sys/block/%s/stat", "sda"), "/sys/block/sda/stat");
   EXPECT_EQ(pathFromPattern("/tmp/%s.stat", "nvme0n1"), "/tmp/nvme0n1.stat");
   EXPECT_EQ(pathFromPattern("%s", "mmcblk0"), "mmcblk0");
   EXPECT_EQ(pathFromPattern("%s/device", ""), "/device");
}

TEST(PathPatternTest, AcceptsAPatternWithoutAConversion) {
   EXPECT_EQ(pathFromPattern("/tmp/stat", "sda"), "/tmp/stat");
   EXPECT_EQ(pathFromPattern("", "sda"), "");
}

TEST(PathPatternTest, ReadsADoubledPercentAsOne) {
   EXPECT_EQ(pathFromPattern("/50%%/%s", "sda"), "/50%/sda");
   EXPECT_EQ(pathFromPattern("%%s/%s", "sda"), "%s/sda");
   EXPECT_EQ(pathFromPattern("%%%s", "sda"), "%sda");
   EXPECT_EQ(pathFromPattern("%s/%%s", "sda"), "sda/%s");
}

// The pattern may come from the environment: it must not make anything be read that was not passed.
TEST(PathPatternTest, KeepsEverythingElse) {
   EXPECT_EQ(pathFromPattern("/%s/%s/%s", "sda"), "/sda/%s/%s");
   EXPECT_EQ(pathFromPattern("/%n/%d/%10s/%s", "sda"), "/%n/%d/%10s/sda");
   EXPECT_EQ(pathFromPattern("/%s/100%", "sda"), "/sda/100%");
   EXPECT_EQ(pathFromPattern("%", "sda"), "%");
   EXPECT_EQ(pathFromPattern("/%S/%s", "sda"), "/%S/sda");
}

TEST(PathPatternTest, DoesNotReadTheNameAsAPattern) {
   EXPECT_EQ(pathFromPattern("/%s", "%s"), "/%s");
   EXPECT_EQ(pathFromPattern("/%s/%s", "%%s%n"), "/%%s%n/%s");
}

TEST(PathPatternTest, CutsALongPathAsABufferWould) {
   for (std::size_t const before : {0, 1, 4090, 4091, 4092, 4093, 4094, 4095, 4096, 100'000}) {
      std::string const pattern = std::string(before, 'a') + "%s/b";
      char buffer[4096];
      std::snprintf(buffer, sizeof buffer, "%.*s%s/b", static_cast<int>(before), pattern.c_str(), "sda");
      EXPECT_EQ(pathFromPattern(pattern, "sda"), buffer) << before;
   }
   EXPECT_EQ(pathFromPattern("/%s", std::string(5000, 'x')), "/" + std::string(4094, 'x'));
}

}  // namespace
}  // namespace StorageDevices
