// What the agent's monitors log of a disk after the wall clock was set back.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "agent/Monitors.h"
#include "base/KernelLineSender.h"
#include "tests/support/DiscoveryTest.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/TempDir.h"
#include "tests/support/Units.h"

namespace {

namespace fs = std::filesystem;

using namespace StorageDevices::Simulation;

class WallClockTest : public Support::DiscoveryTest {
 protected:
   WallClockTest() {
      unit_.blockdevIs({{".*/usb1", "usb1"}});
      unit_.add(usbDisk("sdb", "1-1", "STICK", "Flash", 31250000));
      EXPECT_EQ(mkfifo(kernelLog_.c_str(), 0600), 0);
      kernel_.open(kernelLog_, std::ios::in | std::ios::out);
      config_.appliance.etcDir = unit_.etcFolder();
      config_.appliance.expectedMounts = {};
      config_.appliance.mountSourceDir = folder_.string() + "/mount-source";
      config_.kernelMessages.socket = folder_.string() + "/kernelmessages";
   }

   void startMonitors() {
      monitors_ = std::make_unique<Agent::Monitors>(config_, tracker_, [](int, std::string const &) {});
      monitors_->start();
      Vorn::Host::runFor(1);
      ASSERT_TRUE(monitors_->entities().devices->disk.contains("STICK"));
   }
   std::size_t errorsLogged() const {
      std::size_t count = 0;
      for (auto const & message : logs_.messages())
         count += message.name == "STORAGEDEVICE_IO_ERROR_EXTERNAL_USB";
      return count;
   }

   Support::TempDir folder_;
   // Opened in place of the kernel's log.
   fs::path kernelLog_ = fs::path{unit_.environment().at("UMOCKDEV_DIR")} / "dev/kmsg";
   std::fstream kernel_;
   Support::LogRecorder logs_;
   Agent::Config config_;
   std::unique_ptr<Agent::Monitors> monitors_;
};

TEST_F(WallClockTest, LogsADiskAMinuteAfterTheClockWasSetBackWhoeverSendsTheLines) {
   config_.kernelMessages.forwardKmsg = false;
   startMonitors();
   Base::KernelLineSender const others{config_.kernelMessages.socket};
   auto const errorsAfterAnother = [&] {
      others.send("kernel: [    1.000000] usb 1-1: USB disconnect, device number 2");
      Vorn::Host::runFor(1);
      return errorsLogged();
   };
   EXPECT_EQ(errorsAfterAnother(), 1U);
   wallClockJumpsBy(-30 * day);
   EXPECT_EQ(errorsAfterAnother(), 1U) << "it has not been noticed yet";
   Vorn::Host::runFor(60);
   EXPECT_EQ(errorsAfterAnother(), 2U);
}

TEST_F(WallClockTest, LogsADiskAtOnceForAForwardedLineAfterTheClockWasSetBack) {
   startMonitors();
   auto const errorsAfterAnother = [&] {
      kernel_ << "3,1,1000000,-;usb 1-1: USB disconnect, device number 2" << std::flush;
      Vorn::Host::runFor(1);
      return errorsLogged();
   };
   EXPECT_EQ(errorsAfterAnother(), 1U);
   EXPECT_EQ(errorsAfterAnother(), 1U) << "once a day";
   wallClockJumpsBy(-30 * day);
   EXPECT_EQ(errorsAfterAnother(), 2U);
}

}  // namespace
