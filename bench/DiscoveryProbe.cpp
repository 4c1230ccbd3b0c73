#include "DiscoveryProbe.h"

#include <dlfcn.h>
#include <libudev.h>

#include <fstream>
#include <stdexcept>
#include <utility>

#include "Ratio.h"
#include "StorageDevices/BusAddress.h"
#include "StorageDevices/CDevsUtil.h"
#include "StorageDevices/ConnectedDevicesSm.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/Udev.h"
#include "runtime/Vorn/Process.h"

namespace {

double secondsInPrograms = 0;

}  // namespace

pid_t Vorn::spawnProcess(std::vector<Pelm::String> const & argv, int stdinFd, int stdoutFd, int stderrFd) {
   pid_t pid = -1;
   secondsInPrograms += Bench::secondsOf([&] { pid = spawnProcess(argv, stdinFd, stdoutFd, stderrFd, {}); });
   return pid;
}

int Brul::waitForProcess(pid_t pid) {
   using Wait = int (*)(pid_t);
   static auto const runtimes = reinterpret_cast<Wait>(dlsym(RTLD_NEXT, "_ZN4Brul14waitForProcessEi"));
   if (!runtimes)
      throw std::runtime_error("the runtime cannot wait for processes");
   int status = 0;
   secondsInPrograms += Bench::secondsOf([&] { status = runtimes(pid); });
   return status;
}

namespace Bench {

namespace {

constexpr char const * matching = "pci[^/]*/.*/usb[0-9]*/.*";

// All that discovery asks of a device, but for what its collectors do.
bool look(udev_device * device) {
   if (!device || StorageDevices::CDevsUtil::udevSerial(device).empty())
      return false;
   StorageDevices::busAddress(device);
   for (char const * const property : {"ID_NAME", "ID_MODEL", "ID_REVISION"})
      udev_device_get_property_value(device, property);
   return udev_device_get_devnode(device) && udev_device_get_sysattr_value(device, "size");
}

// Number of disks.
std::size_t lookAtAll() {
   std::size_t seen = 0;
   StorageDevices::UdevPtr const context{udev_new()};
   StorageDevices::UdevEnumeratePtr const scan{udev_enumerate_new(context.get())};
   udev_enumerate_add_match_subsystem(scan.get(), "block");
   udev_enumerate_add_match_property(scan.get(), "DEVTYPE", "disk");
   udev_enumerate_scan_devices(scan.get());
   for (auto * entry = udev_enumerate_get_list_entry(scan.get()); entry;
        entry = udev_list_entry_get_next(entry)) {
      StorageDevices::UdevDevicePtr const device{
          udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry))};
      seen += look(device.get());
   }
   return seen;
}

}  // namespace

DiscoveryProbe::DiscoveryProbe(std::filesystem::path etc, std::size_t disks)
    : etc_{std::move(etc)}, disks_{disks} {
   if (std::size_t const seen = lookAtAll(); seen != disks)
      throw std::runtime_error("libudev knows " + std::to_string(seen) + " disks, not " +
                               std::to_string(disks));
}

void DiscoveryProbe::entriesIs(std::size_t count) {
   std::ofstream file{etc_ / "blockdev"};
   for (std::size_t i = 1; i < count; ++i)
      file << "pci0000:00/0000:00:1f.2/ata" << i << "/.* drive" << i << '\n';
   file << matching << " usb1\n";
}

DiscoveryProbe::Times DiscoveryProbe::discovery() const {
   auto const config = Pelm::make<FruConfig>();
   config->etcDirIs(Pelm::String{etc_.string()});
   auto const devices = Pelm::make<StorageDevices::ConnectedDevices>();
   auto const tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
   Pelm::Ptr<StorageDevices::ConnectedDevicesSm> machine;
   Times times;
   secondsInPrograms = 0;
   times.all =
       secondsOf([&] { machine = StorageDevices::connectedDevicesSmFactory(config, devices, tracker); });
   times.programs = secondsInPrograms;
   if (!machine->internalDevicesReady() || devices->disk.size() != disks_ || times.programs <= 0)
      throw std::runtime_error("discovery has not found all disks");
   return times;
}

double DiscoveryProbe::udev() const {
   std::size_t seen = 0;
   double const seconds = secondsOf([&] { seen = lookAtAll(); });
   if (seen != disks_)
      throw std::runtime_error("libudev does not know all disks any more");
   return seconds;
}

}  // namespace Bench
