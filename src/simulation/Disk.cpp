#include "simulation/Disk.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace StorageDevices::Simulation {

namespace {

Disk commonDisk(Disk::Kind kind, std::string_view name, std::uint64_t sectors) {
   Disk disk;
   disk.kind = kind;
   disk.name = name;
   disk.sectors = sectors;
   return disk;
}

// 0 for sda, 25 for sdz, 26 for sdaa.
unsigned scsiDiskIndex(std::string_view name) {
   unsigned index = 0;
   for (char const c : name.substr(std::min<std::size_t>(2, name.size())))
      if (c >= 'a' && c <= 'z')
         index = index * 26 + static_cast<unsigned>(c - 'a') + 1;
   return index == 0 ? 0 : index - 1;
}

}  // namespace

Disk sataDisk(std::string_view name, unsigned ataPort, std::string_view serial, std::string_view model,
              std::uint64_t sectors) {
   auto disk = commonDisk(Disk::Kind::sata, name, sectors);
   disk.ataPort = ataPort;
   disk.host = ataPort - 1;
   disk.serial = serial;
   disk.model = model;
   disk.revision = "1.0";
   return disk;
}

Disk nvmeDrive(std::string_view name, std::string_view serial, std::string_view model,
               std::uint64_t sectors) {
   auto disk = commonDisk(Disk::Kind::nvme, name, sectors);
   disk.serial = serial;
   disk.model = model;
   disk.revision = "1.0";
   return disk;
}

Disk emmcDevice(std::string_view name, std::string_view cid, std::uint64_t sectors) {
   auto disk = commonDisk(Disk::Kind::mmc, name, sectors);
   disk.cid = cid;
   if (cid.size() != 32 ||
       !std::all_of(cid.begin(), cid.end(), [](unsigned char c) { return std::isxdigit(c) != 0; }))
      return disk;
   for (std::size_t i = 6; i < 18; i += 2) {
      unsigned byte = 0;
      std::from_chars(cid.data() + i, cid.data() + i + 2, byte, 16);
      disk.model += static_cast<char>(byte);
   }
   disk.serial = "0x" + std::string(cid.substr(20, 8));
   return disk;
}

Disk usbDisk(std::string_view name, std::string_view usbPort, std::string_view serial, std::string_view model,
             std::uint64_t sectors) {
   auto disk = commonDisk(Disk::Kind::usb, name, sectors);
   disk.usbPort = usbPort;
   disk.host = 16 + scsiDiskIndex(name);
   disk.serial = serial;
   disk.model = model;
   disk.revision = "1.00";
   disk.rotational = "1";
   return disk;
}

Disk otherDisk(std::string_view name, std::string_view controller, std::uint64_t sectors) {
   auto disk = commonDisk(Disk::Kind::other, name, sectors);
   disk.controller = controller;
   return disk;
}

}  // namespace StorageDevices::Simulation
