// What the build asks of the C library on machines of 32 bits.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <ctime>

#include "tests/support/TempDir.h"

namespace Base {
namespace {

TEST(WidthsTest, CountsSizesInodesAndSecondsIn64Bits) {
   EXPECT_EQ(sizeof(off_t), 8U);
   EXPECT_EQ(sizeof(ino_t), 8U);
   EXPECT_EQ(sizeof(fsblkcnt_t), 8U);
   EXPECT_EQ(sizeof(time_t), 8U);
}

TEST(WidthsTest, AsksTheKernelForTimesAfterTheYear2106) {
   Support::TempDir const folder;
   folder.write("file", "");
   timespec const late{5'000'000'000, 0};
   timespec const times[] = {late, late};
   std::string const path = (folder.path() / "file").string();
   ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
   struct stat status {};
   ASSERT_EQ(stat(path.c_str(), &status), 0);
   EXPECT_EQ(status.st_mtime, late.tv_sec);
}

}  // namespace
}  // namespace Base
