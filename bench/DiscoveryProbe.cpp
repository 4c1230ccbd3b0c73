#include "DiscoveryProbe.h"

#include <dlfcn.h>
#include <libudev.h>
#include <sys/epoll.h>

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
#include "runtime/host/Loop.h"

namespace {

double secondsInPrograms = 0;

template <typename Function>
Function theirs(char const * name) {
   auto const function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
   if (!function)
      throw std::runtime_error(std::string{name} + " is not there to be measured");
   return function;
}

}  // namespace

pid_t Vorn::spawnProcess(std::vector<Pelm::String> const & argv, int stdinFd, int stdoutFd, int stderrFd,
                         Pelm::String const & searchFirst) {
   using Spawn = pid_t (*)(std::vector<Pelm::String> const &, int, int, int, Pelm::String const &);
   static auto const spawn =
       theirs<Spawn>("_ZN4Vorn12spawnProcessERKSt6vectorIN4Pelm6StringESaIS2_EEiiiRKS2_");
   pid_t pid = -1;
   secondsInPrograms +=
       Bench::secondsOf([&] { pid = spawn(argv, stdinFd, stdoutFd, stderrFd, searchFirst); });
   return pid;
}

int Brul::waitForProcess(pid_t pid) {
   using Wait = int (*)(pid_t);
   static auto const wait = theirs<Wait>("_ZN4Brul14waitForProcessEi");
   int status = 0;
   secondsInPrograms += Bench::secondsOf([&] { status = wait(pid); });
   return status;
}

// Here the loop waits only for tools.
extern "C" int epoll_wait(int epoll, epoll_event * events, int size, int timeout) {
   using Wait = int (*)(int, epoll_event *, int, int);
   static auto const wait = theirs<Wait>("epoll_wait");
   int count = 0;
   secondsInPrograms += Bench::secondsOf([&] { count = wait(epoll, events, size, timeout); });
   return count;
}

namespace Bench {

namespace {

constexpr char const * matching = "pci[^/]*/.*/nvme[0-9]*/.*";
constexpr char const * mount = "disk";

// Discovery's queries of a device, without those of its collectors.
bool isDisk(udev_device * device) {
   if (!device || StorageDevices::CDevsUtil::udevSerial(device).empty())
      return false;
   StorageDevices::busAddress(device);
   for (char const * const property : {"ID_NAME", "ID_MODEL", "ID_REVISION"})
      udev_device_get_property_value(device, property);
   return udev_device_get_devnode(device) && udev_device_get_sysattr_value(device, "size");
}

std::size_t countDisks() {
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
      seen += isDisk(device.get());
   }
   return seen;
}

}  // namespace

DiscoveryProbe::DiscoveryProbe(std::filesystem::path etc, std::filesystem::path tools, std::size_t disks)
    : etc_{std::move(etc)}, tools_{std::move(tools)}, disks_{disks} {
   if (std::size_t const seen = countDisks(); seen != disks)
      throw std::runtime_error("libudev knows " + std::to_string(seen) + " disks, not " +
                               std::to_string(disks));
}

void DiscoveryProbe::entriesIs(std::size_t count) {
   std::ofstream file{etc_ / "blockdev"};
   for (std::size_t i = 1; i < count; ++i)
      file << "pci0000:00/0000:00:06.0/usb" << i << "/.* usb" << i << '\n';
   file << matching << ' ' << mount << '\n';
}

DiscoveryProbe::Times DiscoveryProbe::discovery(Kind kind) const {
   auto const config = Pelm::make<FruConfig>();
   config->etcDirIs(Pelm::String{etc_.string()});
   if (kind == Kind::fixed)
      config->expectedMountsIs(mount);
   auto const devices = Pelm::make<StorageDevices::ConnectedDevices>();
   auto const tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
   tracker->toolPathIs(Pelm::String{tools_.string()});
   Pelm::Ptr<StorageDevices::ConnectedDevicesSm> machine;
   Times times;
   secondsInPrograms = 0;
   times.all = secondsOf([&] {
      machine = StorageDevices::connectedDevicesSmFactory(config, devices, tracker);
      while (!machine->internalDevicesReady())
         Vorn::Host::turn();
   });
   times.programs = secondsInPrograms;
   if (devices->disk.size() != disks_ || times.programs <= 0)
      throw std::runtime_error("discovery has found " + std::to_string(devices->disk.size()) + " disks");
   for (auto const & [name, disk] : devices->disk)
      if ((disk->model() == reportedModel) != (kind == Kind::fixed))
         throw std::runtime_error("the disks differ from the output of their tools");
   return times;
}

double DiscoveryProbe::udev() const {
   std::size_t seen = 0;
   double const seconds = secondsOf([&] { seen = countDisks(); });
   if (seen != disks_)
      throw std::runtime_error("libudev does not know all disks any more");
   return seconds;
}

}  // namespace Bench
