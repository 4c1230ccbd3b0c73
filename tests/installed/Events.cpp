// Discovery that the host makes, stops and resumes itself, and to which it passes udev's events. Start it
// through umockdev-wrapper.
#include <libudev.h>

#include "Host.h"
#include "StorageDevices/ConnectedDevicesSm.h"
#include "simulation/SimulatedUnit.h"

namespace InstalledHost {

namespace {

using namespace StorageDevices;
using namespace StorageDevices::Simulation;
using UdevPtr = std::unique_ptr<udev, decltype(&udev_unref)>;
using UdevDevicePtr = std::unique_ptr<udev_device, decltype(&udev_device_unref)>;
using UdevMonitorPtr = std::unique_ptr<udev_monitor, decltype(&udev_monitor_unref)>;

class InstalledDiscoveryTest : public InstalledHostTest {
 protected:
   InstalledDiscoveryTest() {
      unit.blockdevIs({{".*/usb1", "usb1"}});
      fruConfig->etcDirIs(unit.etcFolder().c_str());
   }

   UdevDevicePtr deviceOf(std::string const & name) const {
      return {udev_device_new_from_syspath(context.get(), unit.sysPath(name).c_str()), &udev_device_unref};
   }

   SimulatedUnit unit;
   Simulation::Disk const stick = usbDisk("sdb", "1-1", "SERIAL", "Flash", 31250000);
   UdevPtr context{udev_new(), &udev_unref};
   Pelm::Ptr<ConnectedDevicesSm> discovery = Pelm::make<ConnectedDevicesSm>(fruConfig, devices, tracker);
};

TEST_F(InstalledDiscoveryTest, FindsItsDisksOnceItIsInitialised) {
   unit.add(stick);
   EXPECT_FALSE(discovery->socketFd());
   discovery->handleInitialized();
   EXPECT_TRUE(discovery->socketFd());
   EXPECT_TRUE(discovery->internalDevicesReady());
   EXPECT_TRUE(devices->disk("SERIAL"));
}

TEST_F(InstalledDiscoveryTest, ReadsAnEventPerCall) {
   discovery->handleInitialized();
   unit.plug(stick);
   EXPECT_FALSE(devices->disk("SERIAL"));
   discovery->handleSocket();
   EXPECT_TRUE(devices->disk("SERIAL"));
   unit.unplug("sdb");
   discovery->handleSocket();
   EXPECT_FALSE(devices->disk("SERIAL"));
}

TEST_F(InstalledDiscoveryTest, HandlesDevicesThatItIsGiven) {
   discovery->handleInitialized();
   discovery->vornDoZombieReactors(true);
   unit.plug(stick);
   auto const device = deviceOf("sdb");
   ASSERT_TRUE(device);
   discovery->handleAddEvent(device.get());
   EXPECT_TRUE(devices->disk("SERIAL"));
   discovery->handleRemoveEvent(device.get());
   EXPECT_FALSE(devices->disk("SERIAL"));
}

TEST_F(InstalledDiscoveryTest, HandlesEventsThatTheHostReceived) {
   discovery->handleInitialized();
   discovery->vornDoZombieReactors(true);
   UdevMonitorPtr const monitor{udev_monitor_new_from_netlink(context.get(), "udev"), &udev_monitor_unref};
   ASSERT_EQ(udev_monitor_enable_receiving(monitor.get()), 0);
   auto const handleNext = [&] {
      UdevDevicePtr const device{udev_monitor_receive_device(monitor.get()), &udev_device_unref};
      discovery->handleDisk(device.get());
   };
   unit.plug(stick);
   handleNext();
   EXPECT_TRUE(devices->disk("SERIAL"));
   unit.unplug("sdb");
   handleNext();
   EXPECT_FALSE(devices->disk("SERIAL"));
}

TEST_F(InstalledDiscoveryTest, IgnoresEventsWhileItIsStopped) {
   discovery->handleInitialized();
   discovery->vornDoZombieReactors(true);
   unit.plug(stick);
   turn();
   EXPECT_FALSE(devices->disk("SERIAL"));
   discovery->vornDoZombieReactors(false);
   EXPECT_TRUE(eventually([&] { return bool{devices->disk("SERIAL")}; }));
}

}  // namespace

}  // namespace InstalledHost
