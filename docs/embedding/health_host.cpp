// A host with an event loop of its own. It prints what the monitors find out about the disks, until the file
// system of each fixed disk has been tested once.
//
//    health_host ETC_DIR [TIME_SCALE]

#include <poll.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "StorageDevices/ApplianceTracker.h"
#include "StorageDevices/ConnectedDevicesSm.h"
#include "StorageDevices/DeviceDetectionSm.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/FsHealthSm.h"
#include "StorageDevices/MountPtMonitorManagerSm.h"
#include "StorageDevices/MountPtMonitorSm.h"
#include "StorageDevices/NvmeDataMonitorSm.h"
#include "StorageDevices/SettledStart.h"
#include "StorageDevices/SmartDataMonitorSm.h"
#include "runtime/host/Failure.h"
#include "runtime/host/Log.h"
#include "runtime/host/Loop.h"
#include "runtime/host/TimeSource.h"
#include "runtime/host/Trace.h"
#include "runtime/model/HealthFigures.h"
#include "runtime/model/MountTable.h"

namespace {

using namespace StorageDevices;

void print(std::string const & line) {
   std::cout << line << std::endl;
}

// Prints the health of one disk whenever it changes: a reactor for the disk's record.
class DiskHealth {
 public:
   DiskHealth(Pelm::String const & name, Pelm::Ptr<DeviceSmartData> record)
       : name_{name.str()}, record_{std::move(record)} {
      reactor_.notifierIs(record_);
      reactor_.on<&DiskHealth::handleAssessment>(record_->healthStatusRead, *this);
      reactor_.on<&DiskHealth::handleAssessment>(record_->healthStatusOk, *this);
      reactor_.on<&DiskHealth::handleTemperature>(record_->temperatureCelsius, *this);
      reactor_.hasNotificationActiveIs(true);
   }

 private:
   // Before the first reading `healthStatusOk` says nothing.
   void handleAssessment() {
      bool const good = record_->healthStatusOk();
      if (record_->healthStatusRead() && shown_ != good)
         print(name_ + (good ? ": passed" : ": failed") + " its self-assessment");
      if (record_->healthStatusRead())
         shown_ = good;
   }
   void handleTemperature() {
      if (auto const degrees = temperature(*record_))
         print(name_ + ": " + std::to_string(static_cast<int>(*degrees)) + " degrees Celsius");
   }

   std::string name_;
   Pelm::Ptr<DeviceSmartData> record_;
   std::optional<bool> shown_;
   Vorn::NotifieeConst reactor_;  // the last member: it goes first
};

class HealthHost {
 public:
   explicit HealthHost(std::filesystem::path const & etcDir) {
      mountSources_ = etcDir / "mount-source";
      fruConfig_->etcDirIs(etcDir.c_str());
      fruConfig_->mountSourceDirIs(mountSources_.c_str());
      for (char const * const name : {"flash", "drive"})
         fruConfig_->expectedMountsIs(name);
      records_.notifierIs(smart_);
      records_.on<&HealthHost::handleRecord>(smart_->deviceData, *this);
      records_.hasNotificationActiveIs(true);
      discovery_ = connectedDevicesSmFactory(fruConfig_, devices_, tracker_);
      smartMonitor_ = smartDataMonitorSmFactory(pollInterval_, devices_, smart_, tracker_);
      nvmeMonitor_ = nvmeDataMonitorSmFactory(pollInterval_, devices_, nvme_, tracker_);
      settledStart_ = std::make_unique<SettledStart>(discovery_, [this] { handleSettled(); });
   }

   // Whether the file system of each fixed disk has been tested.
   bool isDone() const {
      if (!mountPoints_)
         return false;
      for (auto const & [mountPoint, monitor] : mountPoints_->mountPtMonitorSm)
         if (!isTested(*monitor))
            return false;
      return true;
   }

   void printTests() const {
      for (auto const & [mountPoint, monitor] : mountPoints_->mountPtMonitorSm)
         print(mountPoint.str() +
               (monitor->fsHealthSm()->readTestOk() ? ": stores data" : ": fails its test"));
   }

 private:
   static bool isTested(MountPtMonitorSm const & monitor) {
      auto const & test = monitor.fsHealthSm();
      return test && !test->cookieData().empty() && test->state() == FsHealthSmState::idle;
   }

   void handleRecord(Pelm::String const & name) {
      health_.erase(name.str());
      if (auto const record = smart_->deviceData(name))
         health_.try_emplace(name.str(), name, record);
   }

   // The whole set of disks is known now, as far as it will be.
   void handleSettled() {
      for (auto const & [name, disk] : devices_->disk)
         print(name.str() + ": " + disk->model().str() + " at " + disk->mountPoint().str());
      writeMountSources();
      detection_ = deviceDetectionSmFactory(fruConfig_, devices_);
      mountPoints_ = mountPtMonitorManagerSmFactory(devices_);
   }

   // The monitors never touch a mount point to see what is there: the host writes what the kernel says.
   void writeMountSources() const {
      std::filesystem::create_directories(mountSources_);
      for (auto const & entry : discovery_->etcBlockDev()) {
         std::ofstream file{mountSources_ / entry.mount().str()};
         auto const mounts = Mounts::mountsAt(Pelm::String{"/mnt/" + entry.mount().str()});
         if (!mounts.empty())
            file << mounts.back().device.str() << "\n";
      }
   }

   std::filesystem::path mountSources_;
   Pelm::Ptr<FruConfig> fruConfig_ = Pelm::make<FruConfig>();
   Pelm::Ptr<PollInterval> pollInterval_ = Pelm::make<PollInterval>();
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Pelm::Ptr<SmartData> smart_ = Pelm::make<SmartData>();
   Pelm::Ptr<NvmeData> nvme_ = Pelm::make<NvmeData>();
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_ = applianceTracker();
   Pelm::Ptr<ConnectedDevicesSm> discovery_;
   Pelm::Ptr<SmartDataMonitorSm> smartMonitor_;
   Pelm::Ptr<NvmeDataMonitorSm> nvmeMonitor_;
   Pelm::Ptr<DeviceDetectionSm> detection_;
   Pelm::Ptr<MountPtMonitorManagerSm> mountPoints_;
   std::unique_ptr<SettledStart> settledStart_;
   std::map<std::string, DiskHealth> health_;
   Vorn::NotifieeConst records_;
};

void setSinks() {
   Vorn::Host::logSinkIs([](Vorn::Host::LogMessage const & message) {
      print(std::string{message.descriptor.name} + ": " + message.text.str());
   });
   Vorn::Host::traceSinkIs([](Vorn::Host::TraceLine const & line) {
      print("trace " + std::string{line.facility} + ":" + line.text);
   });
   Vorn::Host::traceLevelIs("StorageDevicesMountPtMonitorManagerSm", 2);
   Vorn::Host::failureSinkIs([](std::string_view machine, std::string_view what) {
      std::cerr << machine << " failed: " << what << std::endl;
   });
}

// The host's loop, with one descriptor among others that it may have. Answers whether it was done in time.
bool runLoop(HealthHost const & host) {
   constexpr int patienceMs = 1000;
   pollfd loop{Vorn::Host::loopDescriptor(), POLLIN, 0};
   Vorn::Seconds const end = Vorn::System::currentTime() + 1800;
   while (!host.isDone() && Vorn::System::currentTime() < end)
      if (poll(&loop, 1, patienceMs) > 0)
         Vorn::Host::turn(0);
   return host.isDone();
}

}  // namespace

int main(int argc, char ** argv) {
   if (argc < 2) {
      std::cerr << "usage: health_host ETC_DIR [TIME_SCALE]" << std::endl;
      return 2;
   }
   double const timeScale = argc > 2 ? std::atof(argv[2]) : 1;
   Vorn::Host::timeSourceIs(std::make_unique<Vorn::Host::RealTime>(timeScale));
   // Only for tests: the mount table of a simulated unit.
   if (char const * const root = std::getenv("STORAGEDEVICES_SIMULATED_ROOT"))
      Mounts::rootIs(root);
   setSinks();
   HealthHost const host{argv[1]};
   if (!runLoop(host))
      return 1;
   host.printTests();
   return 0;
}
