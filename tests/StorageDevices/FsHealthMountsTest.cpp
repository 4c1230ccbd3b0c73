// Other file systems in the place of the health test's folder and of its file, which only root can arrange.
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <cerrno>
#include <fstream>
#include <string>

#include "tests/StorageDevices/FsHealthLinksTest.h"
#include "tests/support/MountNamespace.h"

namespace StorageDevices {

namespace {

class FsHealthMountsTest : public FsHealthLinksTest {
 protected:
   static void SetUpTestSuite() { lacking_ = Support::ownMountTable(); }
   void SetUp() override {
      if (!lacking_.empty())
         GTEST_SKIP() << lacking_;
   }
   static inline std::string lacking_;
};

TEST_F(FsHealthMountsTest, DoesNotEnterAnotherDeviceInThePlaceOfTheFolder) {
   Support::MountedFolder const other{"other", debug()};
   ASSERT_TRUE(other);
   std::ofstream{cookie()} << "theirs";
   machine_->start();
   expectRefused("setupTest - unlink");
   EXPECT_EQ(Support::fileContent(cookie()), "theirs");
}

TEST_F(FsHealthMountsTest, DoesNotEnterADeviceMountedOnTheFolderDuringTheTest) {
   machine_->start();
   {
      Support::MountedFolder const other{"other", debug()};
      ASSERT_TRUE(other);
      Vorn::Host::runFor(301);
      expectRefused("writeTest - open");
      EXPECT_TRUE(fs::is_empty(debug()));
   }
   traces_.clear();
   machine_->start();
   Vorn::Host::runFor(601);
   expectHealthy();
}

TEST_F(FsHealthMountsTest, DoesNotWriteToAFileOfAnotherDevice) {
   fs::path const other = folder_.path() / "other";
   Support::MountedFolder const mounted{"other", other};
   ASSERT_TRUE(mounted);
   std::ofstream{other / "file"} << precious_;
   machine_->start();
   replace(cookie(), [](fs::path const & place) { std::ofstream{place}.close(); });
   ASSERT_EQ(mount((other / "file").c_str(), cookie().c_str(), nullptr, MS_BIND, nullptr), 0);
   Vorn::Host::runFor(301);
   EXPECT_EQ(umount2(cookie().c_str(), MNT_DETACH), 0);
   EXPECT_EQ(Support::fileContent(other / "file"), precious_);
   expectRefused("writeTest - open");
}

// The read test opens what it has examined through /proc.
TEST_F(FsHealthMountsTest, BlamesNoFileSystemWhereProcIsMissing) {
   machine_->start();
   Vorn::Host::runFor(301);
   ASSERT_TRUE(machine_->writeTestOk());
   {
      Support::MountedFolder const empty{"none", "/proc"};
      ASSERT_TRUE(empty);
      Vorn::Host::runFor(300);
   }
   expectRefused("readTest - open", ENOSYS);
   traces_.clear();
   Vorn::Host::runFor(902);
   expectHealthy();
}

}  // namespace

}  // namespace StorageDevices
