// Errors of the single calls. What others put in the file's place is in FsHealthLinksTest.
#include "StorageDevices/CookieFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/ProcessState.h"
#include "tests/support/TempDir.h"

namespace StorageDevices {

namespace {

class CookieFileTest : public testing::Test {
 protected:
   Pelm::String mountPoint() const { return Pelm::String{folder_.string()}; }
   // The error of opening it, with room for that many descriptors.
   int errorWith(unsigned descriptors, int flags) const {
      Support::DescriptorLimit const limit{descriptors};
      errno = 0;
      EXPECT_EQ(CookieFile::open(mountPoint(), flags), -1);
      return errno;
   }

   Support::TempDir folder_;
};

TEST_F(CookieFileTest, HasNothingToRemoveWithoutItsFolder) {
   EXPECT_EQ(CookieFile::unlink(mountPoint()), -1);
   EXPECT_EQ(errno, ENOENT);
}

TEST_F(CookieFileTest, MakesAMissingFileOnlyOnRequest) {
   ASSERT_EQ(CookieFile::mkdir(mountPoint()), 0);
   EXPECT_EQ(errorWith(100, O_RDONLY), ENOENT);
   int const fd = CookieFile::open(mountPoint(), O_RDWR | O_CREAT);
   ASSERT_GE(fd, 0);
   close(fd);
   EXPECT_EQ(CookieFile::unlink(mountPoint()), 0);
}

TEST_F(CookieFileTest, ReportsAShortageOfDescriptorsAsItIs) {
   ASSERT_EQ(CookieFile::mkdir(mountPoint()), 0);
   folder_.write("debug/healthTestCookie", "");
   for (unsigned const room : {0U, 1U, 2U})
      EXPECT_EQ(errorWith(room, O_RDONLY), EMFILE) << room;
   int const fd = CookieFile::open(mountPoint(), O_RDONLY);
   EXPECT_GE(fd, 0);
   close(fd);
}

}  // namespace

}  // namespace StorageDevices
