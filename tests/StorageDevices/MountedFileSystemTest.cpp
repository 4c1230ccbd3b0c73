// The test of a file system and the mount query on a real ext4, where this machine lets them be
// mounted.

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "StorageDevices/Factories.h"
#include "StorageDevices/FsHealthSm.h"
#include "runtime/model/MountPtMonitorHelper.h"
#include "tests/support/DiskFields.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/LoopMount.h"
#include "tests/support/MountNamespace.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace {

class MountedFileSystemTest : public Support::VirtualTimeTest {
 protected:
   static void SetUpTestSuite() { lacking_ = Support::ownMountTable(); }
   void SetUp() override {
      if (!lacking_.empty())
         GTEST_SKIP() << lacking_;
      mount_ = std::make_unique<Support::LoopMount>("ext4", "errors=remount-ro");
      if (!mount_->lacking().empty())
         GTEST_SKIP() << "this machine lacks " << mount_->lacking();
      Support::DiskFields{.name = "S1", .mountPoint = mount_->path().string()}.writeTo(*devices_);
      seen_ = query();
      machine_ = fsHealthSmFactory(place(), seen_.blkSize, devices_);
   }
   void TearDown() override { machine_ = nullptr; }

   Pelm::String place() const { return Pelm::String{mount_->path().string()}; }
   MountPtMonitorHelper::MountState query() const { return MountPtMonitorHelper{}.mountState(place()); }
   std::string tableLine() const {
      std::ifstream table{"/proc/self/mountinfo"};
      for (std::string line; std::getline(table, line);)
         if (line.find(" " + mount_->path().string() + " ") != std::string::npos)
            return line;
      return {};
   }
   // Takes all the room there is.
   void fill() const {
      std::ofstream file{mount_->path() / "fill"};
      for (std::string const block(512, 'x'); file.write(block.data(), 512).flush();) {
      }
   }

   static inline std::string lacking_;
   std::unique_ptr<Support::LoopMount> mount_;
   Support::LogRecorder logs_;
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   MountPtMonitorHelper::MountState seen_;
   Pelm::Ptr<FsHealthSm> machine_;
};

TEST_F(MountedFileSystemTest, IsSeenOnItsDevice) {
   EXPECT_TRUE(seen_.mounted);
   EXPECT_FALSE(seen_.readOnly);
   EXPECT_EQ(seen_.device, mount_->device());
   EXPECT_EQ(seen_.blkSize, 512U);
}

TEST_F(MountedFileSystemTest, PassesItsTest) {
   machine_->start();
   Vorn::Host::runFor(601);
   EXPECT_TRUE(machine_->writeTestOk());
   EXPECT_TRUE(machine_->readTestOk());
   EXPECT_EQ(std::filesystem::file_size(mount_->path() / "debug/healthTestCookie"), seen_.blkSize);
   EXPECT_TRUE(logs_.messages().empty());
}

TEST_F(MountedFileSystemTest, PausesForADayWhenItIsFull) {
   machine_->start();
   fill();
   Vorn::Host::runFor(301);
   std::vector<std::string> notified;
   for (auto const & message : logs_.messages())
      notified.push_back(message.arguments[message.arguments.size() - 1]);
   EXPECT_EQ(notified, (std::vector<std::string>{"has exceeded 85 percent", "No space left on device"}));
   std::filesystem::remove(mount_->path() / "fill");
   Vorn::Host::runFor(86400);
   EXPECT_FALSE(machine_->writeTestOk());
   Vorn::Host::runFor(601);
   EXPECT_TRUE(machine_->readTestOk());
}

TEST_F(MountedFileSystemTest, RefusesWritesAfterARemount) {
   ASSERT_EQ(mount(nullptr, mount_->path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
   EXPECT_TRUE(query().readOnly);
}

TEST_F(MountedFileSystemTest, RefusesWritesAfterAnError) {
   std::string const device = mount_->device().substr(mount_->device().rfind('/') + 1);
   std::ofstream trigger{"/sys/fs/ext4/" + device + "/trigger_fs_error"};
   if (!(trigger << "an error" << std::flush))
      GTEST_SKIP() << "this kernel does not let an error be made";
   std::ofstream const file{mount_->path() / "file"};
   ASSERT_FALSE(file) << "the kernel continues to write";
   if (tableLine().find("emergency_ro") == std::string::npos && tableLine().find(" ro,") == std::string::npos)
      GTEST_SKIP() << "this kernel's mount table does not show it: " << tableLine();
   EXPECT_TRUE(query().readOnly);
}

}  // namespace

}  // namespace StorageDevices
