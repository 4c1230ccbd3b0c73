#include <typeinfo>

#include "Host.h"
#include "StorageDevices/ApplianceRules.h"
#include "StorageDevices/ApplianceTracker.h"
#include "StorageDevices/ConnectedDevicesSm.h"
#include "StorageDevices/DeviceDetectionSm.h"
#include "StorageDevices/DiscoveryPreview.h"
#include "StorageDevices/DiskInfoCollectorSm.h"
#include "StorageDevices/EtcBlockdevEntry.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/SettledStart.h"
#include "runtime/Vorn/Trace.h"

namespace InstalledHost {

namespace {

using namespace StorageDevices;

// A collector of the host's own, for what the base offers.
class Collector final : public DiskInfoCollectorSm {
 public:
   explicit Collector(Pelm::Ptr<ConnectedDisk const> device) : DiskInfoCollectorSm{std::move(device)} {}
   EntityMib::StorageType mibType() const override { return EntityMib::StorageType::eMmc; }
   void collect() { finalize("S2", "Model", "1.0", 64); }
   void giveUp() { finalizeUnchanged(); }
};

TEST_F(InstalledHostTest, WatchesItsDisks) {
   write("blockdev", "pci0000:00/ata1/host drive\n");
   write("multidrive", "ata2\n");
   write("multidrive_src", "ata1\n");
   auto const discovery = connectedDevicesSmFactory(fruConfig, devices, tracker);
   EXPECT_TRUE(eventually([&] { return discovery->internalDevicesReady(); }));
   ASSERT_EQ(discovery->etcBlockDev().size(), 1U);
   EXPECT_EQ(discovery->etcMultidrive().size(), 1U);
   EXPECT_TRUE(discovery->multidriveSrc().has_value());
   EXPECT_FALSE(discovery->diskInfoCollectorSm("S1"));
   EXPECT_FALSE(discovery->infoReactor("S1"));
   discovery->handleInternalDevicesReady();
   EXPECT_EQ(discovery->fruConfig(), fruConfig);
   EXPECT_EQ(discovery->devices(), devices);
   EXPECT_EQ(discovery->childProcessTrackerSm(), tracker);
   EXPECT_TRUE(discovery->socketFd());
   EXPECT_EQ(discovery->anonymousRemovalCount(), 0U);
   EXPECT_FALSE(discovery->unclassifiedDevice("S1"));
   EXPECT_FALSE(discovery->isInactiveDrive("ata1"));
   discovery->rescan();
   addDisk("S1", ConnectedDisk::BusType::sata, "/dev/sda");
   discovery->maybeInsertDisk("U1", devices->disk("S1"));
   discovery->handleDeletion();
}

TEST_F(InstalledHostTest, WaitsForACollectorOfItsOwn) {
   addDisk("S1", ConnectedDisk::BusType::other, "/dev/mmcblk0");
   auto const discovery = connectedDevicesSmFactory(fruConfig, devices, tracker);
   auto const collector = Pelm::make<Collector>(devices->disk("S1"));
   discovery->diskInfoCollectorSmIs("S1", collector);
   EXPECT_EQ(discovery->diskInfoCollectorSm("S1"), collector);
   discovery->infoReactorDel("S1");
   discovery->infoReactorIs(collector);
   EXPECT_EQ(discovery->infoReactor("S1")->notifier(), collector);
   collector->collect();
   discovery->handleInfoCollectorCompleted("S1");
   EXPECT_TRUE(discovery->diskInfoCollectorSm.empty());
   EXPECT_TRUE(devices->disk("S2"));
   discovery->diskInfoCollectorSmIs("S1", Pelm::make<Collector>(devices->disk("S1")));
   discovery->diskInfoCollectorSmDel("S1");
   discovery->infoReactorDelAll();
   discovery->diskInfoCollectorSmDelAll();
   EXPECT_TRUE(discovery->infoReactor.empty());
}

TEST_F(InstalledHostTest, LogsTheMissingDiskAndTheOneThatGoes) {
   fruConfig->expectedMountsIs("drive");
   addDisk("S1", ConnectedDisk::BusType::sata, "/dev/sda");
   auto const detection = deviceDetectionSmFactory(fruConfig, devices);
   devices->diskDel("S1");
   detection->handleDisk("S1");
   EXPECT_EQ(detection->fruConfig(), fruConfig);
   EXPECT_EQ(detection->devices(), devices);
   EXPECT_EQ(logged.size(), 2U);
}

TEST_F(InstalledHostTest, StartsStopsAndResumesADetectionOfItsOwn) {
   fruConfig->expectedMountsIs("drive");
   addDisk("S1", ConnectedDisk::BusType::sata, "/dev/sda");
   addDisk("S2", ConnectedDisk::BusType::sata, "/dev/sdb");
   auto const detection = Pelm::make<DeviceDetectionSm>(fruConfig, devices);
   EXPECT_TRUE(logged.empty());
   detection->handleInitialized();
   EXPECT_EQ(logged.size(), 1U);
   detection->vornDoZombieReactors(true);
   devices->diskDel("S1");
   EXPECT_EQ(logged.size(), 1U);
   detection->vornDoZombieReactors(false);
   devices->diskDel("S2");
   EXPECT_EQ(logged.size(), 2U);
}

TEST_F(InstalledHostTest, StartsOnceItsDisksAreSettled) {
   auto const discovery = connectedDevicesSmFactory(fruConfig, devices, tracker);
   int starts = 0;
   SettledStart const settled{discovery, [&] { ++starts; }};
   EXPECT_TRUE(eventually([&] { return starts == 1; }));
   EXPECT_GT(SettledStart::patience, 0);
}

TEST_F(InstalledHostTest, RunsItsToolsByTheRulesOfAnAppliance) {
   EXPECT_TRUE(std::filesystem::exists(nvmeFilterDirectory() + "/nvme"));
   auto const appliance = applianceTracker();
   EXPECT_EQ(appliance->toolPath(), nvmeFilterDirectory().c_str());
   EXPECT_FALSE(appliance->isFailure("smartctl", 8));
   ToolRules rules;
   rules.nvmeCompat = false;
   toolRulesIs(*appliance, rules);
   EXPECT_EQ(appliance->toolPath(), "");
   EXPECT_TRUE(rules == rules);
}

TEST_F(InstalledHostTest, ExplainsItsConfiguration) {
   write("blockdev", "pci0000:00/ata1/host drive\n");
   EXPECT_EQ(previewDiscovery(fruConfig).blockdevEntries, 1U);
   EXPECT_TRUE(applianceErrors(folder.c_str()).empty());
   Vorn::TraceHandle const trace{"InstalledHost", false};
   ApplianceRules const rules = readApplianceRules(folder.c_str(), trace);
   ASSERT_EQ(rules.etcBlockDev.size(), 1U);
   EtcBlockdevEntry entry = rules.etcBlockDev.front();
   EXPECT_EQ(entry.sysPathRe(), "pci0000:00/ata1/host");
   EXPECT_EQ(entry.mount(), "drive");
   EXPECT_EQ(EtcBlockdevEntry::instance(entry.stringValue().view()), entry);
   entry.sysPathReIs("");
   entry.mountIs("");
   EXPECT_TRUE(entry.isEq({}));
}

TEST_F(InstalledHostTest, CompletesTheRecordOfADisk) {
   addDisk("S1", ConnectedDisk::BusType::other, "/dev/mmcblk0");
   auto const collector = Pelm::make<Collector>(devices->disk("S1"));
   collector->giveUp();
   EXPECT_EQ(collector->finalDisk()->mibType(), EntityMib::StorageType::eMmc);
   collector->collect();
   EXPECT_EQ(collector->finalDisk()->name(), "S2");
   EXPECT_EQ(collector->finalDisk()->deviceIntfAndAddress(), "mmc0");
   EXPECT_EQ(collector->finalDisk()->blockDeviceName(), "mmcblk0");
   EXPECT_EQ(collector->device()->name(), "S1");
   EXPECT_EQ(collector->startError(), 0);
   EXPECT_EQ(collector->publisher(), &collector->finalDisk.publisher());
   EXPECT_EQ(collector->typeData(), typeid(Collector));
   EXPECT_EQ(collector->finalDiskDel()->name(), "S2");
}

TEST_F(InstalledHostTest, PublishesARecordOfADiskOfItsOwn) {
   addDisk("S1", ConnectedDisk::BusType::other, "/dev/mmcblk0");
   auto const collector = Pelm::make<Collector>(devices->disk("S1"));
   auto const publish = [&](std::uint32_t sizeGb) {
      return collector->finalDiskIs("S3", EntityMib::StorageType::eMmc, "/dev/mmcblk1", "/mnt/flash", "Chip",
                                    "2", true, ConnectedDisk::BusType::other, "mmc1", sizeGb);
   };
   auto const disk = publish(32);
   EXPECT_EQ(collector->finalDisk(), disk);
   EXPECT_EQ(disk->name(), "S3");
   EXPECT_EQ(disk->blockDevice(), "/dev/mmcblk1");
   EXPECT_EQ(disk->mountPoint(), "/mnt/flash");
   EXPECT_TRUE(disk->removable());
   EXPECT_EQ(disk->sizeGb(), 32U);
   EXPECT_EQ(publish(32), disk);
   EXPECT_NE(publish(64), disk);
   EXPECT_EQ(collector->finalDisk()->sizeGb(), 64U);
}

TEST_F(InstalledHostTest, KeepsItsSetOfDisks) {
   addDisk("S1", ConnectedDisk::BusType::sata, "/dev/sda");
   auto const disk = devices->disk("S1");
   EXPECT_EQ(disk->mibType(), EntityMib::StorageType::sataSsd);
   EXPECT_EQ(disk->blockDevice(), "/dev/sda");
   EXPECT_EQ(disk->mountPoint(), folder.c_str());
   EXPECT_EQ(disk->model(), "Model");
   EXPECT_EQ(disk->firmwareRevision(), "1.0");
   EXPECT_FALSE(disk->removable());
   EXPECT_EQ(disk->busType(), ConnectedDisk::BusType::sata);
   EXPECT_EQ(disk->devAddress(), "1");
   EXPECT_EQ(disk->sizeGb(), 240U);
   EXPECT_TRUE(disk->isEq(*disk) && disk->isEqButTexts(*disk));
   devices->udevSerialToSerialMapIs("U1", "S1");
   EXPECT_EQ(devices->getDiskMountedAt(folder.c_str()), "S1");
   EXPECT_EQ(devices->udevSerialToSerialMap("U1"), Pelm::String{"S1"});
   devices->udevSerialToSerialMapDel("U1");
   devices->udevSerialToSerialMapDelAll();
   devices->diskDelAll();
   EXPECT_TRUE(devices->disk.empty());
}

}  // namespace

}  // namespace InstalledHost
