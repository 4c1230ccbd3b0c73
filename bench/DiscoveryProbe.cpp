#include "DiscoveryProbe.h"

#include <fcntl.h>
#include <libudev.h>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "Ratio.h"
#include "StorageDevices/BusAddress.h"
#include "StorageDevices/CDevsUtil.h"
#include "StorageDevices/ConnectedDevicesSm.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/Udev.h"
#include "runtime/Vorn/Process.h"

namespace Bench {

namespace {

constexpr char const * matching = "pci[^/]*/.*/usb[0-9]*/.*";
constexpr char const * others[] = {"pci0000:00/0000:00:1f.2/ata1/.*", "pci0000:00/0000:00:1f.2/ata2/.*",
                                   "platform/mmc-controller/.*"};

// All that discovery asks of a device, but for what its collectors do.
bool look(udev_device * device) {
   if (!device || StorageDevices::CDevsUtil::udevSerial(device).empty())
      return false;
   StorageDevices::busAddress(device);
   for (char const * const property : {"ID_NAME", "ID_MODEL", "ID_REVISION"})
      udev_device_get_property_value(device, property);
   return udev_device_get_devnode(device) && udev_device_get_sysattr_value(device, "size");
}

// The paths of all disks below /sys/devices.
std::vector<std::string> look() {
   std::vector<std::string> paths;
   StorageDevices::UdevPtr const context{udev_new()};
   StorageDevices::UdevEnumeratePtr const scan{udev_enumerate_new(context.get())};
   udev_enumerate_add_match_subsystem(scan.get(), "block");
   udev_enumerate_add_match_property(scan.get(), "DEVTYPE", "disk");
   udev_enumerate_scan_devices(scan.get());
   for (auto * entry = udev_enumerate_get_list_entry(scan.get()); entry;
        entry = udev_list_entry_get_next(entry)) {
      char const * const path = udev_list_entry_get_name(entry);
      StorageDevices::UdevDevicePtr const device{udev_device_new_from_syspath(context.get(), path)};
      if (look(device.get()))
         paths.push_back(std::string{path}.substr(std::string{"/sys/devices/"}.size()));
   }
   return paths;
}

// As the library runs it.
bool exprMatches(Pelm::String const & path, Pelm::String const & pattern) {
   int const devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
   pid_t const pid = Vorn::spawnProcess({"expr", "match", path, pattern}, -1, devNull, devNull);
   if (pid < 0)
      throw std::runtime_error("cannot run expr");
   return Brul::waitForProcess(pid) == 0;
}

}  // namespace

DiscoveryProbe::DiscoveryProbe(std::filesystem::path etc, std::size_t disks)
    : etc_{std::move(etc)}, paths_{look()} {
   if (paths_.size() != disks)
      throw std::runtime_error("libudev knows " + std::to_string(paths_.size()) + " disks, not " +
                               std::to_string(disks));
}

void DiscoveryProbe::entriesIs(std::size_t count) {
   patterns_.assign(std::begin(others), std::next(std::begin(others), static_cast<int>(count) - 1));
   patterns_.emplace_back(matching);
   std::ofstream file{etc_ / "blockdev"};
   for (std::size_t i = 0; i < count; ++i)
      file << patterns_[i] << " usb" << i + 1 << '\n';
}

double DiscoveryProbe::discovery() const {
   auto const config = Pelm::make<FruConfig>();
   config->etcDirIs(Pelm::String{etc_.string()});
   auto const devices = Pelm::make<StorageDevices::ConnectedDevices>();
   auto const tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
   Pelm::Ptr<StorageDevices::ConnectedDevicesSm> machine;
   double const seconds =
       secondsOf([&] { machine = StorageDevices::connectedDevicesSmFactory(config, devices, tracker); });
   if (!machine->internalDevicesReady() || devices->disk.size() != paths_.size())
      throw std::runtime_error("discovery has not found all disks");
   return seconds;
}

double DiscoveryProbe::programs() const {
   std::size_t matches = 0;
   double const seconds = secondsOf([&] {
      for (auto const & path : paths_)
         for (auto const & pattern : patterns_)
            matches += exprMatches(Pelm::String{path}, Pelm::String{pattern});
   });
   if (matches != paths_.size())
      throw std::runtime_error("expr has not matched each disk once");
   return seconds;
}

double DiscoveryProbe::udev() const {
   std::size_t seen = 0;
   double const seconds = secondsOf([&] { seen = look().size(); });
   if (seen != paths_.size())
      throw std::runtime_error("libudev does not know all disks any more");
   return seconds;
}

}  // namespace Bench
