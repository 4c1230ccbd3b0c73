// The names and signatures that hosts use of discovery and of the collectors: what is missing does not
// compile.
#include <gtest/gtest.h>

#include <cstdint>
#include <regex>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "StorageDevices/ConnectedDevicesSm.h"
#include "StorageDevices/DeviceDetectionSm.h"
#include "StorageDevices/EmmcDiskInfoCollectorSm.h"
#include "StorageDevices/EusbDiskInfoCollectorSm.h"
#include "StorageDevices/HdparmReport.h"
#include "StorageDevices/NvmeDiskInfoCollectorSm.h"
#include "StorageDevices/SizeGb.h"
#include "StorageDevices/SsdDiskInfoCollectorSm.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/DiskFields.h"
#include "tests/support/SlotOf.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace {

using Disk = Pelm::Ptr<ConnectedDisk const>;
using Tracker = Pelm::Ptr<Brul::ChildProcessTrackerSm>;

template <auto operation, class Signature>
constexpr bool isOperation = std::is_same_v<decltype(operation), Signature>;

static_assert(isOperation<&ConnectedDevicesSm::isInactiveDrive,
                          bool (ConnectedDevicesSm::*)(Pelm::String const &) const>);
static_assert(isOperation<&ConnectedDevicesSm::maybeInsertDisk,
                          void (ConnectedDevicesSm::*)(Pelm::String const &, Disk const &)>);
static_assert(isOperation<&ConnectedDevicesSm::handleDisk, void (ConnectedDevicesSm::*)(udev_device *)>);
static_assert(isOperation<&ConnectedDevicesSm::handleAddEvent, void (ConnectedDevicesSm::*)(udev_device *)>);
static_assert(
    isOperation<&ConnectedDevicesSm::handleRemoveEvent, void (ConnectedDevicesSm::*)(udev_device *)>);
static_assert(isOperation<&ConnectedDevicesSm::handleSocket, void (ConnectedDevicesSm::*)()>);
static_assert(isOperation<&ConnectedDevicesSm::handleInitialized, void (ConnectedDevicesSm::*)()>);
static_assert(isOperation<&ConnectedDevicesSm::handleInternalDevicesReady, void (ConnectedDevicesSm::*)()>);
static_assert(isOperation<&ConnectedDevicesSm::handleDeletion, void (ConnectedDevicesSm::*)()>);
static_assert(isOperation<&ConnectedDevicesSm::rescan, void (ConnectedDevicesSm::*)()>);
static_assert(isOperation<&SsdDiskInfoCollectorSm::hdparmSmDel, void (SsdDiskInfoCollectorSm::*)()>);
static_assert(isOperation<&NvmeDiskInfoCollectorSm::nvmeCliSmDel, void (NvmeDiskInfoCollectorSm::*)()>);
static_assert(isOperation<&DiskInfoCollectorSm::finalizeUnchanged, void (DiskInfoCollectorSm::*)()>);
static_assert(isOperation<&DiskInfoCollectorSm::finalDiskDel, Disk (DiskInfoCollectorSm::*)()>);
static_assert(requires(DeviceDetectionSm & detection, Pelm::String const & serial) {
   detection.handleDisk(serial);
});
static_assert(ConnectedDevicesSm::bytesPerBlock == bytesPerBlock && bytesPerBlock == 512);
static_assert(ConnectedDevicesSm::bytesPerGb == bytesPerGb && bytesPerGb == 1000000000);
static_assert(DiskInfoCollectorSm::bytesPerGb == bytesPerGb);

class DiscoveryInterfaceTest : public Support::VirtualTimeTest {
 protected:
   Tracker tracker_ = Pelm::make<Brul::ChildProcessTrackerSm>();
   Support::DiskFields fields_;
   Disk disk_ = fields_.make();
};

TEST_F(DiscoveryInterfaceTest, AnswersItsConstructorArguments) {
   auto const fruConfig = Pelm::make<FruConfig>();
   auto const devices = Pelm::make<ConnectedDevices>();
   auto const discovery = Pelm::make<ConnectedDevicesSm>(fruConfig, devices, tracker_);
   EXPECT_EQ(discovery->fruConfig(), fruConfig);
   EXPECT_EQ(discovery->devices(), devices);
   EXPECT_EQ(discovery->childProcessTrackerSm(), tracker_);
   EXPECT_EQ(discovery->socketFd(), nullptr);
   EXPECT_EQ(discovery->anonymousRemovalCount(), 0U);
   auto const detection = Pelm::make<DeviceDetectionSm>(fruConfig, devices);
   EXPECT_EQ(detection->fruConfig(), fruConfig);
   EXPECT_EQ(detection->devices(), devices);
}

// Where a disk and its name are published.
class Order {
 public:
   explicit Order(ConnectedDevices const & devices) {
      reactor_.notifierIs(Pelm::Ptr<Pelm::Node const>{&devices});
      reactor_.on<&Order::handleDisk>(devices.disk, *this);
      reactor_.on<&Order::handleMap>(devices.udevSerialToSerialMap, *this);
      reactor_.hasNotificationActiveIs(true);
   }
   std::string text;

 private:
   void handleDisk() { text += "disk "; }
   void handleMap() { text += "map "; }

   Vorn::NotifieeConst reactor_;
};

TEST_F(DiscoveryInterfaceTest, ComparesADiskWithTheOneOfTheNameRecordedLast) {
   auto const devices = Pelm::make<ConnectedDevices>();
   auto const discovery = Pelm::make<ConnectedDevicesSm>(Pelm::make<FruConfig>(), devices, tracker_);
   Order const order{*devices};
   discovery->maybeInsertDisk("X", disk_);
   EXPECT_EQ(order.text, "map disk ");
   discovery->maybeInsertDisk("X", disk_);
   EXPECT_EQ(order.text, "map disk ");
   // The other disk is there already, under its own name: only what is recorded for the serial counts.
   Support::DiskFields other = fields_;
   other.name = "other";
   other.writeTo(*devices);
   discovery->maybeInsertDisk("X", other.make());
   EXPECT_EQ(order.text, "map disk disk map ");
   EXPECT_EQ(*devices->udevSerialToSerialMap("X"), "other");
}

TEST_F(DiscoveryInterfaceTest, WritesADiskWhoseMapEntryNamesAMissingOne) {
   auto const devices = Pelm::make<ConnectedDevices>();
   auto const discovery = Pelm::make<ConnectedDevicesSm>(Pelm::make<FruConfig>(), devices, tracker_);
   devices->udevSerialToSerialMapIs("X", disk_->name());
   discovery->maybeInsertDisk("X", disk_);
   ASSERT_TRUE(devices->disk(disk_->name()));
   EXPECT_TRUE(devices->disk(disk_->name())->isEq(*disk_));
   EXPECT_EQ(*devices->udevSerialToSerialMap("X"), disk_->name());
}

TEST_F(DiscoveryInterfaceTest, DeletesACollectorTogetherWithItsReactor) {
   auto const devices = Pelm::make<ConnectedDevices>();
   auto const discovery = Pelm::make<ConnectedDevicesSm>(Pelm::make<FruConfig>(), devices, tracker_);
   auto const collector = Pelm::make<SsdDiskInfoCollectorSm>(disk_, tracker_);
   Pelm::String const & serial = disk_->name();
   discovery->diskInfoCollectorSmIs(serial, collector);
   EXPECT_EQ(discovery->diskInfoCollectorSm(serial), collector);
   ASSERT_TRUE(discovery->infoReactor(serial));
   EXPECT_EQ(discovery->infoReactor(serial)->notifier(), collector);
   ConnectedDevicesSm::HN_InfoReactor const node = *discovery->infoReactor.begin();
   EXPECT_EQ(node.key, serial);
   discovery->infoReactorDel(serial);
   discovery->infoReactorIs(collector);
   EXPECT_EQ(discovery->infoReactor.size(), 1U);
   collector->finalizeUnchanged();
   EXPECT_TRUE(discovery->diskInfoCollectorSm.empty() && discovery->infoReactor.empty());
   EXPECT_TRUE(devices->disk(serial));
   discovery->diskInfoCollectorSmIs(serial, Pelm::make<SsdDiskInfoCollectorSm>(disk_, tracker_));
   discovery->diskInfoCollectorSmDel(serial);
   EXPECT_TRUE(discovery->diskInfoCollectorSm.empty() && discovery->infoReactor.empty());
   discovery->diskInfoCollectorSmIs(serial, Pelm::make<SsdDiskInfoCollectorSm>(disk_, tracker_));
   discovery->infoReactorDelAll();
   EXPECT_TRUE(discovery->infoReactor.empty());
   discovery->diskInfoCollectorSmDelAll();
   EXPECT_TRUE(discovery->diskInfoCollectorSm.empty());
}

class OwnCollector final : public DiskInfoCollectorSm {
 public:
   explicit OwnCollector(Disk disk) : DiskInfoCollectorSm{std::move(disk)} {}
   EntityMib::StorageType mibType() const override { return EntityMib::StorageType::unknown; }

   static auto lastUserGoneOperation() { return &OwnCollector::lastUserGone; }
};

TEST_F(DiscoveryInterfaceTest, KeepsTheOperationsOfACollectorInTheirOrder) {
   using Support::slotOf;
   std::vector<std::intptr_t> const slots = {
       slotOf(OwnCollector::lastUserGoneOperation()), slotOf(&DiskInfoCollectorSm::publisher),
       slotOf(&DiskInfoCollectorSm::typeData), slotOf(&DiskInfoCollectorSm::vornDoZombieReactors),
       slotOf(&DiskInfoCollectorSm::mibType)};
   EXPECT_EQ(slots[0], 2) << "after the destructors";
   for (std::size_t i = 1; i < slots.size(); ++i)
      EXPECT_EQ(slots[i], slots[i - 1] + 1) << i;
   EXPECT_EQ(Pelm::make<OwnCollector>(disk_)->typeData(), typeid(OwnCollector));
}

TEST_F(DiscoveryInterfaceTest, ReleasesTheToolOfACollector) {
   auto const ssd = Pelm::make<SsdDiskInfoCollectorSm>(disk_, tracker_);
   EXPECT_EQ(ssd->childProcessTrackerSm(), tracker_);
   EXPECT_FALSE(ssd->initialized());
   EXPECT_EQ(ssd->hdparmSm(), nullptr);
   ssd->handleInitialized();
   EXPECT_TRUE(ssd->initialized());
   EXPECT_EQ(ssd->hdparmSm()->arg.size(), 3U);
   ssd->hdparmSmDel();
   EXPECT_EQ(ssd->hdparmSm(), nullptr);
   ssd->handleHdparm();
   ssd->parseOutput();
   auto const nvme = Pelm::make<NvmeDiskInfoCollectorSm>(disk_, tracker_);
   nvme->handleInitialized();
   EXPECT_EQ(nvme->childProcessTrackerSm(), tracker_);
   EXPECT_TRUE(nvme->initialized() && nvme->nvmeCliSm());
   nvme->nvmeCliSmDel();
   nvme->handleNvmeCli();
   nvme->parseOutput();
   EXPECT_EQ(nvme->nvmeCliSm(), nullptr);
   Vorn::Host::runFor(60);
   EXPECT_EQ(ssd->finalDisk(), nullptr);
   EXPECT_EQ(nvme->finalDisk(), nullptr);
}

TEST_F(DiscoveryInterfaceTest, PublishesNothingFromZombieCollectors) {
   auto const ssd = SsdDiskInfoCollectorSmIs(disk_, tracker_);
   auto const nvme = NvmeDiskInfoCollectorSmIs(disk_, tracker_);
   ssd->vornDoZombieReactors(true);
   nvme->vornDoZombieReactors(true);
   Vorn::Host::runFor(60);
   EXPECT_EQ(ssd->finalDisk(), nullptr);
   EXPECT_EQ(nvme->finalDisk(), nullptr);
}

TEST_F(DiscoveryInterfaceTest, OffersTheMembersOfEveryCollectorInTheBase) {
   Pelm::Ptr<DiskInfoCollectorSm> const held = Pelm::make<SsdDiskInfoCollectorSm>(disk_, tracker_);
   DiskInfoCollectorSm & ssd = *held;
   Support::ChangeRecorder const changes{ssd.finalDisk};
   EXPECT_EQ(ssd.publisher(), &ssd.finalDisk.publisher());
   EXPECT_EQ(ssd.typeData(), typeid(SsdDiskInfoCollectorSm));
   EXPECT_EQ(ssd.mibType(), EntityMib::StorageType::sataSsd);
   ssd.finalizeUnchanged();
   EXPECT_EQ(changes.count(), 1U);
   EXPECT_EQ(ssd.finalDiskDel()->name(), disk_->name());
   auto const emmc = Pelm::make<EmmcDiskInfoCollectorSm>(disk_, nullptr);
   auto const eusb = Pelm::make<EusbDiskInfoCollectorSm>(disk_, nullptr);
   EXPECT_EQ(emmc->udevDisk(), nullptr);
   EXPECT_EQ(eusb->udevDisk(), nullptr);
}

TEST_F(DiscoveryInterfaceTest, StripsTrailingBlanksOfAGroup) {
   std::cmatch match;
   std::regex_search("a: Foo  ;", match, std::regex{"a: ([^;]*);(x)?"});
   EXPECT_EQ(strippedMatch(match[1]), "Foo");
   EXPECT_EQ(strippedMatch(match[2]), "");
}

}  // namespace

}  // namespace StorageDevices
