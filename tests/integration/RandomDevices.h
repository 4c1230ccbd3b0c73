// Random units, and a naive reading of discovery's rules to compare discovery with. The reading is slow,
// uses nothing of the library and is meant to be compared with the rules line by line.
#pragma once

#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "simulation/SimulatedUnit.h"
#include "tests/support/DiskFields.h"
#include "tests/support/Regex.h"

namespace RandomDevices {

using Support::DiskFields;

// A device with what the simulated unit needs and what the reading of the rules needs to know.
struct Device {
   StorageDevices::Simulation::Disk disk;
   std::map<std::string, std::string> properties;  // as udev has them; others are absent
   std::optional<std::string> sectors;
   std::optional<DiskFields> report;      // what the tool for it reads, if it reads anything
   std::optional<DiskFields> chip;        // the contents of its register, if that can be read
   std::optional<std::string> linkModel;  // from its link by id
};

struct Rules {
   std::vector<std::pair<std::string, std::string>> blockdev;
   std::vector<std::string> multidrive;
   std::optional<std::string> multidriveSrc;
   std::set<std::string> expectedMounts;
};

class Generator {
 public:
   explicit Generator(unsigned seed) : random_{seed} {}

   Rules rules() {
      std::vector<std::string> const patterns{".*/ata1[0-9]/",
                                              ".*/ata",
                                              "pci.*/usb1/1-2",
                                              "pci0000:00/0000:00:05.0",
                                              ".*nvme[0-9]*n1$",
                                              ".*/nvme/1.*$",
                                              ".*mmc_host",
                                              "virtual/block/[a-m]",
                                              "virtual",
                                              "x*",
                                              "ata",
                                              "[",
                                              "virtual/block/hd\\{1\\}",
                                              ".*/2.*"};
      std::vector<std::string> const mounts{"flash", "drive", "drive2", "usb1", "usb2", "spare", "drive3"};
      Rules rules;
      for (unsigned i = 0; i < 10; ++i)
         rules.blockdev.emplace_back(oneOf(patterns), oneOf(mounts));
      for (unsigned i = 0; i < 2; ++i)
         if (chance(50))
            rules.multidrive.push_back(textOf({".*/ata2[0-9]/", ".*nvme1", "virtual/block/v", "y*"}));
      if (chance(50))
         rules.multidriveSrc = textOf({".*/ata2[0-4]/", ".*nvme1n1$", "none"});
      for (char const * const mount : {"usb2", "spare"})
         if (chance(50))
            rules.expectedMounts.insert(mount);
      return rules;
   }

   // `index` sets it apart from all others.
   Device device(unsigned index) {
      using StorageDevices::Simulation::Disk;
      number_ = std::to_string(index);
      Device device;
      Disk & disk = device.disk;
      disk.kind = oneOf<Disk::Kind>({Disk::Kind::sata, Disk::Kind::sata, Disk::Kind::usb, Disk::Kind::nvme,
                                     Disk::Kind::mmc, Disk::Kind::other});
      disk.name = nameOf(disk.kind, index);
      disk.host = index;
      disk.ataPort = index + 1;
      disk.usbPort = (chance(50) ? "1-" : "2-") + std::to_string(index + 1);
      disk.scsiHost = oneOf<Disk::ScsiHost>({Disk::ScsiHost::complete, Disk::ScsiHost::complete,
                                             Disk::ScsiHost::withoutUniqueId, Disk::ScsiHost::absent});
      if (chance(30))
         disk.uniqueId = "7" + number_;
      disk.rotational = oneOf<std::optional<std::string>>({"0", "0", "1", "", std::nullopt});
      setProperties(device);
      setSize(device);
      setSource(device);
      return device;
   }

   template <class T>
   T oneOf(std::vector<T> const & choices) {
      return choices[random_() % choices.size()];
   }
   bool chance(unsigned percent) { return random_() % 100 < percent; }

 private:
   std::string textOf(std::initializer_list<char const *> choices) {
      return oneOf(std::vector<std::string>{choices.begin(), choices.end()});
   }

   std::string nameOf(StorageDevices::Simulation::Disk::Kind kind, unsigned index) {
      using Kind = StorageDevices::Simulation::Disk::Kind;
      switch (kind) {
         case Kind::sata:
         case Kind::usb:
            return scsiName(scsiDisks_++);
         case Kind::nvme:
            return "nvme" + number_ + "n" + std::to_string(random_() % 3 + 1);
         case Kind::mmc:
            return "mmcblk" + number_;
         case Kind::other:
            break;
      }
      std::string const letter(1, static_cast<char>('a' + index % 26));
      return textOf({"vd", "loop", "emmcblk", "hd", "xnvme", "mmcblkboot"}) + (chance(50) ? letter : number_);
   }

   static std::string scsiName(unsigned index) {
      std::string const last(1, static_cast<char>('a' + index % 26));
      return (index < 26 ? "sd" : "sda") + last;
   }

   // Absent, empty or with the value.
   void maybe(Device & device, char const * name, std::string const & value, unsigned percent) {
      if (chance(percent))
         device.properties[name] = value;
      else if (chance(50))
         device.properties[name] = "";
      device.disk.absent.insert(name);
   }

   void setProperties(Device & device) {
      using Kind = StorageDevices::Simulation::Disk::Kind;
      maybe(device, "ID_SERIAL_SHORT", "S" + number_, 80);
      maybe(device, "ID_SERIAL", "L" + number_, 80);
      maybe(device, "ID_NAME", "name " + number_, 30);
      maybe(device, "ID_MODEL", "model_" + number_, 70);
      maybe(device, "ID_REVISION", "r" + number_, 70);
      std::string const usual = device.disk.kind == Kind::sata  ? "ata"
                                : device.disk.kind == Kind::usb ? "usb"
                                                                : "";
      maybe(device, "ID_BUS", chance(85) ? usual : textOf({"ata", "usb", "scsi"}), 95);
      if (chance(50))
         device.linkModel = "Link_Model" + number_;
      std::string const serial = serialOf(device);
      device.properties["DEVLINKS"] =
          "/dev/disk/by-path/p-" + serial +
          (device.linkModel ? " /dev/disk/by-id/usb-" + *device.linkModel + "_" + serial + "-0:0" : "");
      if (serial.empty())
         device.linkModel.reset();
      if (chance(95))
         device.properties["DEVNAME"] = "/dev/" + device.disk.name;
      else
         device.disk.absent.insert("DEVNAME");
      device.disk.devLinks = device.properties["DEVLINKS"];
      for (auto const & [name, value] : device.properties) {
         device.disk.properties[name] = value;
         device.disk.absent.erase(name);
      }
   }

   void setSize(Device & device) {
      device.sectors = oneOf<std::optional<std::string>>(
          {std::to_string(random_()), "3907029168", "2929687", "2929688", "0", "", "many", "-5", " 7", "7x",
           "36028797018963967", "36028797018963968", "18446744073709551616", std::nullopt});
      device.disk.absent.insert("size");
      if (device.sectors) {
         device.disk.absent.erase("size");
         device.disk.attributes["size"] = *device.sectors;
      }
   }

   // The device's own identity, where discovery's collector may read it.
   void setSource(Device & device) {
      if (chance(60))
         device.report = DiskFields{.name = "own " + number_,
                                    .model = "Own Model " + number_,
                                    .firmwareRevision = "F" + number_,
                                    .sizeGb = 200 + static_cast<std::uint32_t>(random_() % 100)};
      if (device.disk.kind != StorageDevices::Simulation::Disk::Kind::mmc)
         return;
      char digits[9];
      std::snprintf(digits, sizeof digits, "%08x", 0xA000U + static_cast<unsigned>(device.disk.host));
      if (chance(70)) {
         device.disk.cid = std::string{"1501004b535452454c1f"} + digits + "5ac1";
         device.chip = DiskFields{.name = digits, .model = "Samsung KSTREL", .firmwareRevision = "1.15"};
      } else {
         device.disk.deviceAttributes["cid"] = textOf({"1501", "g501004b535452454c1f000000015ac1", ""});
      }
   }

   static std::string serialOf(Device const & device) {
      for (char const * const name : {"ID_SERIAL_SHORT", "ID_SERIAL"})
         if (auto const found = device.properties.find(name);
             found != device.properties.end() && !found->second.empty())
            return found->second;
      return "";
   }

   std::mt19937 random_;
   std::string number_;
   unsigned scsiDisks_ = 0;
};

// The rules, read naively.
class Reading {
 public:
   explicit Reading(Rules const & rules) : rules_{rules} {}

   static std::string property(Device const & device, char const * name) {
      auto const found = device.properties.find(name);
      return found == device.properties.end() ? "" : found->second;
   }
   static std::string udevSerial(Device const & device) {
      std::string const shortSerial = property(device, "ID_SERIAL_SHORT");
      return shortSerial.empty() ? property(device, "ID_SERIAL") : shortSerial;
   }

   // The record that discovery must end with, or nothing.
   std::optional<DiskFields> record(Device const & device, std::string const & sysPath) const {
      std::string const node = property(device, "DEVNAME");
      if (device.disk.name.starts_with("loop") || udevSerial(device).empty() || node.empty())
         return std::nullopt;
      std::string const path = sysPath.substr(13);
      if (isInactive(path))
         return std::nullopt;
      auto const mount = mountOf(path);
      if (!mount)
         return std::nullopt;
      bool const fixed = *mount == "flash" || *mount == "drive" || *mount == "drive2" ||
                         rules_.expectedMounts.contains(*mount);
      DiskFields disk;
      disk.name = udevSerial(device);
      disk.mibType = 0;
      disk.blockDevice = node;
      disk.mountPoint = "/mnt/" + *mount;
      disk.model =
          property(device, "ID_NAME").empty() ? property(device, "ID_MODEL") : property(device, "ID_NAME");
      disk.firmwareRevision = property(device, "ID_REVISION");
      disk.removable = !fixed;
      setBus(disk, device);
      disk.sizeGb = sizeOf(device);
      if (fixed)
         identify(disk, device);
      return disk;
   }

   // The disk's tool, if it has one.
   static bool isSsd(Device const & device) {
      return matchesWhole(device.disk.name, "[hs]d[a-z]") && device.disk.rotational == "0";
   }
   static bool isNvme(Device const & device) { return matchesWhole(device.disk.name, "nvme\\d+n\\d+"); }

 private:
   static bool matchesWhole(std::string const & text, char const * expression) {
      return !Support::Regex{expression}.matchWhole(text).empty();
   }

   static bool matches(std::string const & path, std::string const & pattern) {
      try {
         auto const match = Support::Regex{pattern, Support::Regex::Syntax::basic}.matchStart(path);
         return !match.empty() && !match[0].empty();
      } catch (std::runtime_error const &) {
         return false;
      }
   }

   bool isInactive(std::string const & path) const {
      if (rules_.multidriveSrc && matches(path, *rules_.multidriveSrc))
         return false;
      for (std::string const & pattern : rules_.multidrive)
         if (matches(path, pattern))
            return true;
      return false;
   }

   std::optional<std::string> mountOf(std::string const & path) const {
      static Support::Regex const tail{"(.*)/\\d*\\.?\\*?\\$?$"};
      for (auto [pattern, mount] : rules_.blockdev) {
         std::string const read = pattern;
         if (auto const whitebox = tail.matchWhole(read); !whitebox.empty())
            pattern = whitebox[1];
         if (matches(path, pattern))
            return mount;
      }
      return std::nullopt;
   }

   static void setBus(DiskFields & disk, Device const & device) {
      using StorageDevices::Simulation::Disk;
      bool const scsi = device.disk.kind == Disk::Kind::sata || device.disk.kind == Disk::Kind::usb;
      bool const hasId = scsi && device.disk.scsiHost == Disk::ScsiHost::complete;
      std::string const id = device.disk.uniqueId.value_or(
          device.disk.kind == Disk::Kind::sata ? std::to_string(device.disk.ataPort) : "0");
      std::size_t const nvme = disk.blockDevice.find("nvme");
      disk.busType = 3;
      disk.devAddress = "";
      if (property(device, "ID_BUS") == "ata") {
         if (hasId) {
            disk.busType = 1;
            disk.devAddress = id;
         }
      } else if (device.disk.kind == Disk::Kind::usb) {
         disk.busType = 0;
         disk.devAddress = device.disk.usbPort;
      } else if (nvme != std::string::npos) {
         disk.busType = 2;
         disk.devAddress = disk.blockDevice.substr(nvme);
      }
   }

   static std::uint32_t sizeOf(Device const & device) {
      std::string const text = device.sectors.value_or("");
      if (!matchesWhole(text, "[0-9]+") || text.size() > 17)
         return 0;
      std::uint64_t const sectors = std::stoull(text);
      if (sectors > UINT64_MAX / 512)
         return 0;
      // In half gigabytes, so that a half goes up.
      std::uint64_t const gigabytes = (sectors * 512 / 500000000 + 1) / 2;
      return gigabytes > UINT32_MAX ? 0 : static_cast<std::uint32_t>(gigabytes);
   }

   static void identify(DiskFields & disk, Device const & device) {
      std::string const & name = device.disk.name;
      if (isSsd(device)) {
         disk.mibType = 2;
         take(disk, device.report, true);
      } else if (matchesWhole(name, "[hs]d[a-z]") && device.disk.rotational) {
         disk.mibType = 1;
         if (device.linkModel)
            disk.model = *device.linkModel;
         if (disk.model.empty())
            disk.model = "Unknown";
         if (disk.firmwareRevision.empty())
            disk.firmwareRevision = "Unknown";
      } else if (isNvme(device)) {
         disk.mibType = 4;
         take(disk, device.report, true);
      } else if (matchesWhole(name, "e?mmcblk[0-9]+")) {
         disk.mibType = 3;
         take(disk, device.chip, false);
      }
   }

   static void take(DiskFields & disk, std::optional<DiskFields> const & identity, bool withSize) {
      if (!identity)
         return;
      disk.name = identity->name;
      disk.model = identity->model;
      disk.firmwareRevision = identity->firmwareRevision;
      if (withSize)
         disk.sizeGb = identity->sizeGb;
   }

   Rules const & rules_;
};

}  // namespace RandomDevices
