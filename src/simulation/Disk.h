// A simulated disk as the kernel and udev's rules would show it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Agent::Simulation {

// The fields that matter most have a member; whatever else udev or the kernel would say is made from
// them, and `properties`, `attributes` and `absent` have the last word over every made value.
struct Disk {
   enum class Kind {
      sata,   // controller/ataN/hostH/targetH:0:0/H:0:0:0/block/sdX
      nvme,   // controller/nvme/nvmeI/nvmeInN
      card,   // controller/mmc_host/mmcI/mmcI:0001/block/mmcblkI: eMMC and SD
      usb,    // controller/usbB/B-1/B-1.2/B-1.2:1.0/hostH/targetH:0:0/H:0:0:0/block/sdX
      other,  // controller/block/name without parents: virtio, loop and what else there may be
   };
   enum class ScsiHost { complete, withoutUniqueId, absent };

   Kind kind = Kind::other;
   std::string name;        // kernel name
   std::string controller;  // sysfs path below /sys/devices; empty: the place that is usual for the kind
   std::string serial;      // ID_SERIAL_SHORT, of a card ID_SERIAL; empty: the device tells none
   std::string longSerial;  // ID_SERIAL; empty: made of vendor, model and serial as udev's rules do
   std::string vendor;
   std::string model;          // as the device spells it; blanks and the like become "_" where udev does that
   std::string revision;       // ID_REVISION; a card has none
   std::uint64_t sectors = 0;  // attribute "size", in blocks of 512 bytes

   std::optional<std::string> rotational = "0";  // attribute queue/rotational
   std::optional<std::string> devLinks;          // DEVLINKS; nothing: made from the serial and the place

   ScsiHost scsiHost = ScsiHost::complete;
   unsigned host = 0;     // number of the SCSI host, of its own for each adapter
   unsigned ataPort = 1;  // N of ataN
   std::optional<std::string>
       uniqueId;                 // attribute unique_id of the SCSI host; nothing: the ATA port, 0 for USB
   std::string usbPort = "1-1";  // bus and ports, dots between those of hubs
   std::string cid;              // the card's register, 32 hexadecimal digits

   std::map<std::string, std::string> properties;        // of the disk, added or in place of made ones
   std::map<std::string, std::string> attributes;        // of the disk, likewise
   std::map<std::string, std::string> deviceAttributes;  // of the device behind the link "device"
   std::set<std::string> absent;                         // properties and attributes of the disk left out
};

// A SATA solid-state disk at port `ataPort`, its SCSI host numbered one less as at boot.
Disk sataDisk(std::string_view name, unsigned ataPort, std::string_view serial, std::string_view model,
              std::uint64_t sectors);

// A namespace of an NVMe drive; `name` is "nvmeInN".
Disk nvmeDrive(std::string_view name, std::string_view serial, std::string_view model, std::uint64_t sectors);

// An eMMC with the given register, from which udev's model and serial are taken; `name` is "mmcblkI".
Disk emmcCard(std::string_view name, std::string_view cid, std::uint64_t sectors);

// A USB disk at `usbPort` (for example "2-1.3"), rotational as sticks say they are.
Disk usbDisk(std::string_view name, std::string_view usbPort, std::string_view serial, std::string_view model,
             std::uint64_t sectors);

// A disk of no known bus below `controller`, such as "virtual" for loop0.
Disk otherDisk(std::string_view name, std::string_view controller, std::uint64_t sectors);

// 0 for sda, 25 for sdz, 26 for sdaa.
unsigned scsiDiskIndex(std::string_view name);

// One device of a test bed, in the text form that umockdev-record writes.
struct DeviceRecord {
   std::string path;  // "/devices/…"
   std::string subsystem;
   std::string text;
   // Properties whose bytes the text form cannot carry.
   std::vector<std::pair<std::string, std::string>> rawProperties;

   std::string_view name() const;
};

// The disk, first, and its parents. `sequence` sets the disk apart from all others (DISKSEQ).
// Throws std::invalid_argument when a name or value cannot stand in sysfs.
std::vector<DeviceRecord> deviceRecords(Disk const & disk, unsigned sequence);

// The devices of a recording; throws std::invalid_argument when it is none.
std::vector<DeviceRecord> deviceRecords(std::string_view recording);

}  // namespace Agent::Simulation
