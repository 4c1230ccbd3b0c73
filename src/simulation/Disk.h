// A simulated disk with its entries in sysfs and udev.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace StorageDevices::Simulation {

// The main fields are members. All other values of udev and the kernel are derived from them, unless
// `properties`, `attributes` or `absent` override them.
struct Disk {
   enum class Kind {
      sata,   // controller/ataN/hostH/targetH:0:0/H:0:0:0/block/sdX
      nvme,   // controller/nvme/nvmeI/nvmeInN
      mmc,    // controller/mmc_host/mmcI/mmcI:0001/block/mmcblkI: eMMC devices and SD cards
      usb,    // controller/usbB/B-1/B-1.2/B-1.2:1.0/hostH/targetH:0:0/H:0:0:0/block/sdX
      other,  // controller/block/name without parents: virtio, loop and others
   };
   enum class ScsiHost { complete, withoutUniqueId, absent };

   Kind kind = Kind::other;
   std::string name;        // kernel name
   std::string controller;  // sysfs path below /sys/devices; empty: the usual place of the kind
   std::string serial;      // ID_SERIAL_SHORT, for the kind `mmc` ID_SERIAL; empty: none
   std::string longSerial;  // ID_SERIAL; empty: vendor, model and serial, as by udev's rules
   std::string vendor;
   std::string model;          // in the device's spelling; udev replaces blanks and the like by "_"
   std::string revision;       // ID_REVISION; the kind `mmc` has none
   std::uint64_t sectors = 0;  // attribute "size", in blocks of 512 bytes

   std::optional<std::string> rotational = "0";  // attribute queue/rotational
   std::optional<std::string> devLinks;          // DEVLINKS; nothing: derived from serial and place

   ScsiHost scsiHost = ScsiHost::complete;
   unsigned host = 0;     // number of the SCSI host, unique per adapter
   unsigned ataPort = 1;  // N of ataN
   std::optional<std::string>
       uniqueId;                 // attribute unique_id of the SCSI host; nothing: the ATA port, 0 for USB
   std::string usbPort = "1-1";  // bus and ports, dots between those of hubs
   std::string cid;              // the CID register, 32 hexadecimal digits

   std::map<std::string, std::string> properties;        // of the disk; override derived ones
   std::map<std::string, std::string> attributes;        // of the disk, likewise
   std::map<std::string, std::string> deviceAttributes;  // of the device behind the link "device"
   std::set<std::string> absent;                         // properties and attributes that the disk lacks
};

// A SATA solid-state disk at port `ataPort`; its SCSI host has the number below, as after a boot.
Disk sataDisk(std::string_view name, unsigned ataPort, std::string_view serial, std::string_view model,
              std::uint64_t sectors);

// A namespace of an NVMe drive; `name` is "nvmeInN".
Disk nvmeDrive(std::string_view name, std::string_view serial, std::string_view model, std::uint64_t sectors);

// An eMMC device with that CID register, which gives udev's model and serial; `name` is "mmcblkI".
Disk emmcDevice(std::string_view name, std::string_view cid, std::uint64_t sectors);

// A USB disk at `usbPort` (for example "2-1.3"), rotational, as USB sticks report.
Disk usbDisk(std::string_view name, std::string_view usbPort, std::string_view serial, std::string_view model,
             std::uint64_t sectors);

// A disk of no known bus below `controller`, such as "virtual" for loop0.
Disk otherDisk(std::string_view name, std::string_view controller, std::uint64_t sectors);

// One device of a test bed, in the text form of umockdev-record.
struct DeviceRecord {
   std::string path;  // "/devices/…"
   std::string subsystem;
   std::string text;
   // Properties whose bytes the text form cannot contain.
   std::vector<std::pair<std::string, std::string>> rawProperties;

   std::string_view name() const;
};

// The disk, first, and its parents. `sequence` is the disk's unique number (DISKSEQ). Throws
// std::invalid_argument for a name or value that is impossible in sysfs.
std::vector<DeviceRecord> deviceRecords(Disk const & disk, unsigned sequence);

// The devices of a recording. Throws std::invalid_argument for another text.
std::vector<DeviceRecord> deviceRecords(std::string_view recording);

}  // namespace StorageDevices::Simulation
