// Discovery on a simulated unit: that its cost grows with the disks times the entries of blockdev that
// are tried for each, and that it is the cost of the programs that it must run.
//
// All disks are removable, so the programs are `expr` alone, one run per disk and entry. The preload
// that simulates the unit makes libudev slower than on a real one, which speaks against discovery; the
// programs run without it, as they do on a real one.
#include <fcntl.h>
#include <libudev.h>

#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Ratio.h"
#include "StorageDevices/BusAddress.h"
#include "StorageDevices/CDevsUtil.h"
#include "StorageDevices/ConnectedDevicesSm.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/Udev.h"
#include "agent/simulation/SimulatedUnit.h"
#include "runtime/Vorn/Process.h"

namespace {

using Agent::Simulation::Disk;
using Agent::Simulation::SimulatedUnit;

constexpr std::size_t few = 250;
constexpr std::size_t many = 1000;
constexpr std::size_t entryCounts[] = {1, 2, 4};
constexpr char const * matching = "pci[^/]*/.*/usb[0-9]*/.*";
constexpr char const * others[] = {"pci0000:00/0000:00:1f.2/ata1/.*", "pci0000:00/0000:00:1f.2/ata2/.*",
                                   "platform/mmc-controller/.*"};

// 0 for sda, 26 for sdaa.
std::string diskName(std::size_t index) {
   std::string letters;
   for (std::size_t rest = index + 1; rest > 0; rest = (rest - 1) / 26)
      letters.insert(letters.begin(), static_cast<char>('a' + (rest - 1) % 26));
   return "sd" + letters;
}

class Unit {
 public:
   Unit() { unsetenv("LD_PRELOAD"); }

   // As many USB disks as that, each behind a port of its own.
   void disksIs(std::size_t count) {
      for (; disks_ < count; ++disks_) {
         std::string const number = std::to_string(disks_);
         Disk disk = Agent::Simulation::usbDisk(diskName(disks_), "1-1." + std::to_string(disks_ + 1),
                                                "BENCH" + number, "Stick", 31'250'000);
         disk.host = static_cast<unsigned>(disks_);
         unit_.add(disk);
      }
      for (; disks_ > count; --disks_)
         unit_.vanish(diskName(disks_ - 1));
   }

   // The last entry is that of all disks, so all are tried.
   void entriesIs(std::size_t count) {
      patterns_.assign(std::begin(others), std::next(std::begin(others), static_cast<int>(count) - 1));
      patterns_.emplace_back(matching);
      std::vector<std::pair<std::string, std::string>> entries;
      for (auto const & pattern : patterns_)
         entries.emplace_back(pattern, "usb" + std::to_string(entries.size() + 1));
      unit_.blockdevIs(entries);
   }

   double discovery() const {
      auto const config = Pelm::make<FruConfig>();
      config->etcDirIs(Pelm::String{unit_.etcFolder().string()});
      auto const devices = Pelm::make<StorageDevices::ConnectedDevices>();
      auto const tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
      Pelm::Ptr<StorageDevices::ConnectedDevicesSm> machine;
      double const seconds = Bench::secondsOf(
          [&] { machine = StorageDevices::connectedDevicesSmFactory(config, devices, tracker); });
      if (!machine->internalDevicesReady() || devices->disk.size() != disks_)
         throw std::runtime_error("discovery has not found all disks");
      return seconds;
   }

   // The same runs of expr, with nothing around them.
   double programs() const {
      std::vector<Pelm::String> paths;
      for (auto const & name : unit_.disks())
         paths.emplace_back(unit_.sysPath(name).substr(std::string{"/sys/devices/"}.size()));
      std::size_t matches = 0;
      double const seconds = Bench::secondsOf([&] {
         for (auto const & path : paths)
            for (auto const & pattern : patterns_)
               matches += expr(path, Pelm::String{pattern});
      });
      if (matches != disks_)
         throw std::runtime_error("expr has not matched each disk once");
      return seconds;
   }

   // What discovery asks libudev.
   double udev() const {
      return Bench::secondsOf([&] {
         StorageDevices::UdevPtr const context{udev_new()};
         StorageDevices::UdevEnumeratePtr const scan{udev_enumerate_new(context.get())};
         udev_enumerate_add_match_subsystem(scan.get(), "block");
         udev_enumerate_add_match_property(scan.get(), "DEVTYPE", "disk");
         udev_enumerate_scan_devices(scan.get());
         std::size_t seen = 0;
         for (auto * entry = udev_enumerate_get_list_entry(scan.get()); entry;
              entry = udev_list_entry_get_next(entry))
            seen += look(context.get(), udev_list_entry_get_name(entry));
         if (seen != disks_)
            throw std::runtime_error("libudev does not know all disks");
      });
   }

 private:
   static bool expr(Pelm::String const & path, Pelm::String const & pattern) {
      int const devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
      pid_t const pid = Vorn::spawnProcess({"expr", "match", path, pattern}, -1, devNull, devNull);
      if (pid < 0)
         throw std::runtime_error("cannot run expr");
      return Brul::waitForProcess(pid) == 0;
   }

   static bool look(::udev * context, char const * sysPath) {
      StorageDevices::UdevDevicePtr const device{udev_device_new_from_syspath(context, sysPath)};
      if (!device || StorageDevices::CDevsUtil::udevSerial(device.get()).empty())
         return false;
      StorageDevices::busAddress(device.get());
      for (char const * const property : {"ID_NAME", "ID_MODEL", "ID_REVISION"})
         udev_device_get_property_value(device.get(), property);
      return udev_device_get_devnode(device.get()) && udev_device_get_sysattr_value(device.get(), "size");
   }

   SimulatedUnit unit_;
   std::size_t disks_ = 0;
   std::vector<std::string> patterns_;
};

// What is measured with a number of entries; all times are per disk and entry.
enum : std::size_t { discoveryOfMany, programsOfMany, udevOfMany, discoveryOfFew };

void measureMany(Unit & unit, std::size_t entries, Bench::Rounds & rounds) {
   unit.disksIs(many);
   unit.entriesIs(entries);
   auto const runs = static_cast<double>(many * entries);
   rounds.add(discoveryOfMany, unit.discovery() / runs);
   rounds.add(programsOfMany, unit.programs() / runs);
   rounds.add(udevOfMany, unit.udev() / runs);
}

void measureFew(Unit & unit, std::size_t entries, Bench::Rounds & rounds) {
   unit.disksIs(few);
   unit.entriesIs(entries);
   rounds.add(discoveryOfFew, unit.discovery() / static_cast<double>(few * entries));
}

void report(Bench::Report & report, std::string const & with, Bench::Rounds const & rounds) {
   constexpr double nineTenths = 0.9;
   report.claim("discovery: " + with + ", 1000 disks beside 250", rounds, discoveryOfMany, discoveryOfFew,
                1.25);
   report.claim("discovery: " + with + ", beside expr alone", rounds, discoveryOfMany, programsOfMany,
                1 / nineTenths);
   Bench::Report::note("discovery: " + with + ", libudev beside all of it", rounds, udevOfMany,
                       discoveryOfMany);
}

}  // namespace

int main() {
   Unit unit;
   std::vector<Bench::Rounds> rounds(std::size(entryCounts));
   for (int round = 0; round < 11; ++round) {
      for (std::size_t i = 0; i < rounds.size(); ++i)
         round % 2 ? measureMany(unit, entryCounts[i], rounds[i])
                   : measureFew(unit, entryCounts[i], rounds[i]);
      for (std::size_t i = 0; i < rounds.size(); ++i)
         round % 2 ? measureFew(unit, entryCounts[i], rounds[i])
                   : measureMany(unit, entryCounts[i], rounds[i]);
   }
   Bench::Report lines;
   for (std::size_t i = 0; i < rounds.size(); ++i)
      report(lines, std::to_string(entryCounts[i]) + (entryCounts[i] == 1 ? " entry" : " entries"),
             rounds[i]);
   return lines.exitCode();
}
