#include "StorageDevices/DeviceDetectionSm.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "StorageDevices/Factories.h"
#include "tests/support/DiskFields.h"
#include "tests/support/FileCalls.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;

class DeviceDetectionSmTest : public testing::Test {
 protected:
   DeviceDetectionSmTest() { fruConfig_->mountSourceDirIs(folder_.string()); }

   void plug(std::string const & serial, std::string const & mount, std::string const & node = "/dev/sda",
             bool removable = false) const {
      Support::DiskFields{
          .name = serial, .blockDevice = node, .mountPoint = "/mnt/" + mount, .removable = removable}
          .writeTo(*devices_);
   }
   void start() { monitor_ = deviceDetectionSmFactory(fruConfig_, devices_); }
   // What is logged at the start when that is in the mount-source file of /dev/sda.
   Texts loggedFor(std::string const & mounted) {
      plug("S1", "drive");
      folder_.write("drive", mounted);
      start();
      return logs_.texts();
   }

   Texts const notMounted_ = {"Storage device partition /dev/sda not mounted as /mnt/drive"};
   Support::TempDir folder_;
   Support::LogRecorder logs_;
   Support::TraceRecorder traces_{{"DeviceDetectionSm", 7}};
   Pelm::Ptr<FruConfig> fruConfig_ = Pelm::make<FruConfig>();
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Pelm::Ptr<DeviceDetectionSm> monitor_;
};

TEST_F(DeviceDetectionSmTest, LogsEveryExpectedMountWithoutADisk) {
   for (char const * const mount : {"flash", "drive", "drive2"})
      fruConfig_->expectedMountsIs(mount);
   plug("S1", "drive");
   folder_.write("drive", "/dev/sda1\n");
   start();
   EXPECT_EQ(logs_.texts(), (Texts{"Failed to detect storage device /mnt/flash on bootup.",
                                   "Failed to detect storage device /mnt/drive2 on bootup."}));
   EXPECT_EQ(logs_.messages()[0].name, "STORAGEDEVICE_DETECTION_ERROR");
   EXPECT_EQ(traces_.texts(2), (Texts{" Found one detection error in fruConfig, mount path: /mnt/flash",
                                      " Found one detection error in fruConfig, mount path: /mnt/drive2"}));
}

TEST_F(DeviceDetectionSmTest, AcceptsAPartitionOfTheDisk) {
   EXPECT_EQ(loggedFor("/dev/sda1\n"), Texts{});
   EXPECT_TRUE(traces_.lines().empty());
}

TEST_F(DeviceDetectionSmTest, AcceptsTheDiskItselfBehindMapperNodes) {
   EXPECT_EQ(loggedFor("/dev/dm-0\n/dev/dm-17x /dev/sda\n/dev/sdb1"), Texts{});
}

TEST_F(DeviceDetectionSmTest, RefusesMapperNodesAlone) {
   EXPECT_EQ(loggedFor("/dev/dm-0\n/dev/dm-1\n"), notMounted_);
   EXPECT_EQ(logs_.messages()[0].name, "STORAGEDEVICE_PARTITION_NOT_MOUNTED");
   EXPECT_EQ(traces_.texts(2), Texts{"Found one partition-not-found error. Problem device: /dev/sda"});
}

TEST_F(DeviceDetectionSmTest, RefusesAnEmptyFile) {
   EXPECT_EQ(loggedFor(""), notMounted_);
}

TEST_F(DeviceDetectionSmTest, LogsTheFirstOtherPartitionAndReadsNoFurther) {
   EXPECT_EQ(loggedFor("/dev/dm-0 /dev/sdb1 /dev/sdc1 /dev/sda1"),
             Texts{"Unexpected partition /dev/sdb1 mounted as /mnt/drive. Expected storage device partition "
                   "/dev/sda to be mounted instead."});
   EXPECT_EQ(logs_.messages()[0].arguments, (Texts{"/dev/sdb1", "/mnt/drive", "/dev/sda"}));
   EXPECT_EQ(traces_.texts(2),
             Texts{"Found one unexpected-partition-mounted error, problem device: /dev/sda"});
}

TEST_F(DeviceDetectionSmTest, LogsNamesThatOnlyResembleMapperNodesAsOtherPartitions) {
   EXPECT_EQ(loggedFor("/dev/dm-").size(), 1U);
   EXPECT_EQ(logs_.messages()[0].arguments[0], "/dev/dm-");
}

TEST_F(DeviceDetectionSmTest, RecognisesAMapperNodeByItsNumber) {
   ASSERT_EQ(loggedFor("/dev/dm-x /dev/sda").size(), 1U);
   EXPECT_EQ(logs_.messages()[0].arguments[0], "/dev/dm-x");
}

TEST_F(DeviceDetectionSmTest, AcceptsAMapperNodeThatIsTheExpectedOne) {
   plug("S1", "drive", "/dev/dm-0");
   folder_.write("drive", "/dev/dm-0\n");
   start();
   EXPECT_TRUE(logs_.messages().empty());
}

TEST_F(DeviceDetectionSmTest, LogsAPathOfTheMaximumLengthWhole) {
   std::string const path = "/dev/" + std::string(4090, 'x');
   ASSERT_EQ(loggedFor(path).size(), 1U);
   EXPECT_EQ(logs_.messages()[0].arguments[0], path);
}

TEST_F(DeviceDetectionSmTest, LogsTheBeginningOfAnOverlongPath) {
   std::string const path = "/dev/" + std::string(5000, 'x');
   ASSERT_EQ(loggedFor(path).size(), 1U);
   EXPECT_EQ(logs_.messages()[0].arguments[0], path.substr(0, 4096));
}

TEST_F(DeviceDetectionSmTest, ChecksForMissingDisksFirst) {
   fruConfig_->expectedMountsIs("flash");
   EXPECT_EQ(loggedFor(""),
             (Texts{"Failed to detect storage device /mnt/flash on bootup.", notMounted_.front()}));
}

TEST_F(DeviceDetectionSmTest, ChecksRemovableDisksToo) {
   plug("stick", "drive", "/dev/sda", true);
   folder_.write("drive", "");
   start();
   EXPECT_EQ(logs_.texts(), notMounted_);
}

TEST_F(DeviceDetectionSmTest, TracesAMissingFileAndReadsTheOthers) {
   plug("S1", "flash");
   plug("S2", "drive", "/dev/sdb");
   folder_.write("drive", "");
   start();
   EXPECT_EQ(traces_.errors(), Texts{" Could not open mount path: " + folder_.string() + "/flash"});
   EXPECT_EQ(logs_.texts(), Texts{"Storage device partition /dev/sdb not mounted as /mnt/drive"});
}

TEST_F(DeviceDetectionSmTest, TracesAnUnreadableFileAndLogsNothing) {
   std::filesystem::create_directory(folder_.path() / "drive");
   plug("S1", "drive");
   start();
   EXPECT_EQ(traces_.errors(),
             Texts{"An error occurred while reading themount file: " + folder_.string() + "/drive"});
   EXPECT_TRUE(logs_.messages().empty());
}

TEST_F(DeviceDetectionSmTest, DropsTheRestOfAnOverlongWord) {
   // A word cut in two would be logged as the second part, or pass as the disk.
   EXPECT_EQ(loggedFor("/dev/dm-0" + std::string(4087, 'x') + "/dev/sda /dev/dm-1"), notMounted_);
   EXPECT_EQ(traces_.errors(), Texts{});
}

TEST_F(DeviceDetectionSmTest, TreatsAFileThatIsNotRegularAsAReadError) {
   ASSERT_EQ(mkfifo((folder_.path() / "drive").c_str(), 0600), 0);
   std::filesystem::create_symlink("/dev/zero", folder_.path() / "flash");
   plug("S1", "drive");
   plug("S2", "flash");
   start();
   std::string const text = "An error occurred while reading themount file: " + folder_.string();
   EXPECT_EQ(traces_.errors(), (Texts{text + "/drive", text + "/flash"}));
   EXPECT_TRUE(logs_.messages().empty());
}

TEST_F(DeviceDetectionSmTest, TakesNothingFromAFileThatIsOneOverlongWord) {
   EXPECT_EQ(loggedFor("/dev/sda" + std::string(2U << 20U, 'x')), Texts{});
   EXPECT_EQ(traces_.errors(),
             Texts{"An error occurred while reading themount file: " + folder_.string() + "/drive"});
}

TEST_F(DeviceDetectionSmTest, LooksBelowItsFolderForADiskThatIsMountedElsewhere) {
   Support::DiskFields{.name = "S1", .mountPoint = "/srv"}.writeTo(*devices_);
   folder_.write("srv", "/dev/sda1\n");
   start();
   EXPECT_EQ(traces_.errors(), Texts{});
   EXPECT_EQ(logs_.texts(), Texts{});
}

TEST_F(DeviceDetectionSmTest, TreatsAnOverlongFileAsAReadErrorUnlessAWordDecides) {
   std::string mapperNodes;
   while (mapperNodes.size() <= 1U << 20U)
      mapperNodes += "/dev/dm-0\n";
   EXPECT_EQ(loggedFor(mapperNodes), Texts{});
   EXPECT_EQ(traces_.errors().size(), 1U);
   folder_.write("drive", "/dev/sdb1 " + mapperNodes);
   start();
   EXPECT_EQ(logs_.texts().size(), 1U);
}

TEST_F(DeviceDetectionSmTest, TracesAReadErrorBehindMapperNodesAndLogsNothing) {
   Support::ReadFailure const failure{1};
   // How the last word ends is not known.
   EXPECT_EQ(loggedFor("/dev/dm-0\n/dev/sdb"), Texts{});
   EXPECT_EQ(traces_.errors(),
             Texts{"An error occurred while reading themount file: " + folder_.string() + "/drive"});
}

TEST_F(DeviceDetectionSmTest, DecidesByAWordBeforeAReadError) {
   Support::ReadFailure const failure{1};
   EXPECT_EQ(loggedFor("/dev/sdb1 /dev/sda").size(), 1U);
   EXPECT_EQ(traces_.errors(), Texts{});
}

TEST_F(DeviceDetectionSmTest, IgnoresADirectoryThatIsALink) {
   plug("S1", "drive");
   folder_.write("drive", "/dev/sdz1");
   std::string const link = folder_.string() + "/link";
   std::filesystem::create_directory_symlink(".", link);
   fruConfig_->mountSourceDirIs(link);
   start();
   EXPECT_TRUE(logs_.messages().empty());
   EXPECT_EQ(traces_.errors(), Texts{" Could not open mount path: " + link + "/drive"});
}

TEST_F(DeviceDetectionSmTest, TracesBeforeItLogs) {
   std::string order;
   Vorn::Host::traceSinkIs([&](Vorn::Host::TraceLine const &) { order += 't'; });
   Vorn::Host::logSinkIs([&](Vorn::Host::LogMessage const &) { order += 'm'; });
   fruConfig_->expectedMountsIs("flash");
   plug("S1", "drive");
   plug("S2", "drive2", "/dev/sdb");
   folder_.write("drive", "");
   folder_.write("drive2", "/dev/sdz");
   start();
   devices_->diskDel("S1");
   EXPECT_EQ(order, "tmtmtmtm");
}

TEST_F(DeviceDetectionSmTest, BoundsAFileOfAnotherProgram) {
   EXPECT_EQ(loggedFor(std::string(1U << 20U, 'x')).size(), 1U);
   EXPECT_LT(logs_.messages()[0].arguments[0].size(), 4097U);
}

TEST_F(DeviceDetectionSmTest, LogsTheRemovalOfAFixedDisk) {
   plug("S1", "drive");
   start();
   traces_.clear();
   devices_->diskDel("S1");
   EXPECT_EQ(logs_.texts(), Texts{"A removal event occurred unexpectedly for internal storage device S1"});
   EXPECT_EQ(logs_.messages()[0].severity, 3);
   EXPECT_EQ(traces_.texts(2), Texts{"handleDisk Found one device-offline error,serial number: S1"});
}

TEST_F(DeviceDetectionSmTest, IgnoresAddedDisksChangedDisksAndRemovedRemovableOnes) {
   start();
   plug("S1", "drive");
   plug("stick", "usb1", "/dev/sdb", true);
   plug("S1", "flash");
   devices_->diskDel("stick");
   EXPECT_TRUE(logs_.messages().empty());
}

TEST_F(DeviceDetectionSmTest, ChecksTheMountsOnlyOnce) {
   fruConfig_->expectedMountsIs("flash");
   start();
   fruConfig_->expectedMountsIs("drive");
   plug("S1", "usb1");
   EXPECT_EQ(logs_.messages().size(), 1U);
}

TEST_F(DeviceDetectionSmTest, IgnoresEventsAsAZombie) {
   plug("S1", "drive");
   folder_.write("drive", "/dev/sda1");
   start();
   monitor_->vornDoZombieReactors(true);
   devices_->diskDel("S1");
   EXPECT_TRUE(logs_.messages().empty());
}

}  // namespace

}  // namespace StorageDevices
