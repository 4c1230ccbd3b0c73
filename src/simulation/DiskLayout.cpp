// The places of each kind's devices in sysfs, as on a Linux 6.1 kernel with udev 252.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <stdexcept>

#include "simulation/DeviceText.h"
#include "simulation/Disk.h"
#include "simulation/DriveHealth.h"

namespace StorageDevices::Simulation {

namespace {

constexpr std::string_view devices = "/devices/";

// udev's spelling of a device's text: blanks, and characters unsuitable for a path, become "_".
std::string udevSpelling(std::string_view text) {
   std::string spelled;
   for (char const c : text)
      spelled += std::isalnum(static_cast<unsigned char>(c)) != 0 ||
                         std::string_view("#+-.:=@_").find(c) != std::string_view::npos
                     ? c
                     : '_';
   return spelled;
}

unsigned trailingNumber(std::string_view name) {
   auto const begin = name.find_last_not_of("0123456789") + 1;
   unsigned number = 0;
   std::from_chars(name.data() + begin, name.data() + name.size(), number);
   return number;
}

std::string controllerPath(Disk const & disk, std::string_view usual) {
   return std::string(devices) + (disk.controller.empty() ? std::string(usual) : disk.controller);
}

DeviceText blockDevice(Disk const & disk, std::string const & path, std::string_view deviceLink,
                       unsigned sequence) {
   DeviceText text(path, "block");
   // The major number of disks beyond those that a driver has numbers for.
   std::string const major = "259";
   auto const minor = std::to_string(sequence);
   text.node(disk.name)
       .property("DEVTYPE", "disk")
       .property("DISKSEQ", minor)
       .property("MAJOR", major)
       .property("MINOR", minor);
   text.attribute("dev", major + ":" + minor)
       .attribute("size", std::to_string(disk.sectors))
       .attribute("removable", "0")
       .attribute("queue/logical_block_size", "512")
       .attribute("stat",
                  "      51        0     2112       20        0        0        0        0        0"
                  "       20       20        0        0        0        0        0        0");
   if (disk.rotational)
      text.attribute("queue/rotational", *disk.rotational);
   if (!deviceLink.empty())
      text.link("device", deviceLink);
   return text;
}

// The properties that udev's rules give every disk; `by` is the beginning of the link in by-id.
void identity(DeviceText & text, Disk const & disk, std::string_view by, std::string const & longSerial) {
   if (!disk.revision.empty())
      text.property("ID_REVISION", disk.revision);
   if (disk.kind != Disk::Kind::mmc && !disk.serial.empty())
      text.property("ID_SERIAL_SHORT", disk.serial);
   auto const full = disk.longSerial.empty() ? longSerial : disk.longSerial;
   if (!full.empty())
      text.property("ID_SERIAL", full);
   std::string const links = "/dev/disk/by-path/simulated-" + udevSpelling(disk.name) +
                             (full.empty() ? "" : " /dev/disk/by-id/" + std::string(by) + udevSpelling(full));
   text.property("DEVLINKS", disk.devLinks.value_or(links));
}

// The disk's own properties and attributes override the derived ones.
DeviceRecord diskRecord(DeviceText & text, Disk const & disk) {
   return text.propertiesAre(disk.properties).attributesAre(disk.attributes).absentAre(disk.absent).record();
}

DeviceRecord pciDevice(std::string const & path, std::string_view driver) {
   return DeviceText(path, "pci").property("DRIVER", driver).record();
}

std::string joined(std::string const & maker, std::string const & model, std::string const & serial) {
   std::string text;
   for (auto const & part : {maker, model, serial})
      if (!part.empty())
         text += (text.empty() ? "" : "_") + udevSpelling(part);
   return text;
}

// The devices from the SCSI disk down to its host, the disk's own record excepted.
void scsiParents(std::vector<DeviceRecord> & records, Disk const & disk, std::string const & hostPath) {
   auto const host = std::to_string(disk.host);
   auto const target = hostPath + "/target" + host + ":0:0";
   DeviceText device(target + "/" + host + ":0:0:0", "scsi");
   device.property("DEVTYPE", "scsi_device").property("DRIVER", "sd");
   device.attribute("model", disk.model)
       .attribute("vendor", disk.kind == Disk::Kind::sata ? "ATA     " : disk.vendor)
       .attribute("state", "running")
       .attributesAre(disk.deviceAttributes);
   records.push_back(device.record());
   records.push_back(DeviceText(target, "scsi").property("DEVTYPE", "scsi_target").record());
   if (disk.scsiHost == Disk::ScsiHost::absent)
      return;
   DeviceText hostClass(hostPath + "/scsi_host/host" + host, "scsi_host");
   hostClass.attribute("state", "running");
   if (disk.scsiHost == Disk::ScsiHost::complete)
      hostClass.attribute(
          "unique_id",
          disk.uniqueId.value_or(disk.kind == Disk::Kind::sata ? std::to_string(disk.ataPort) : "0"));
   records.push_back(hostClass.link("device", "../../../host" + host).record());
   records.push_back(DeviceText(hostPath, "scsi").property("DEVTYPE", "scsi_host").record());
}

std::string scsiDiskPath(Disk const & disk, std::string const & hostPath) {
   auto const host = std::to_string(disk.host);
   return hostPath + "/target" + host + ":0:0/" + host + ":0:0:0/block/" + disk.name;
}

std::vector<DeviceRecord> sataRecords(Disk const & disk, unsigned sequence) {
   auto const controller = controllerPath(disk, "pci0000:00/0000:00:02.0");
   auto const hostPath =
       controller + "/ata" + std::to_string(disk.ataPort) + "/host" + std::to_string(disk.host);
   auto text = blockDevice(disk, scsiDiskPath(disk, hostPath),
                           "../../../" + std::to_string(disk.host) + ":0:0:0", sequence);
   text.property("ID_BUS", "ata").property("ID_MODEL", udevSpelling(disk.model));
   identity(text, disk, "ata-", joined("", disk.model, disk.serial));
   std::vector<DeviceRecord> records{diskRecord(text, disk)};
   scsiParents(records, disk, hostPath);
   records.push_back(pciDevice(controller, "ahci"));
   return records;
}

std::vector<DeviceRecord> nvmeRecords(Disk const & disk, unsigned sequence) {
   auto const nameSpace = disk.name.rfind('n');
   if (!disk.name.starts_with("nvme") || nameSpace < 5 || nameSpace == std::string::npos)
      throw std::invalid_argument("'" + disk.name + "' is no name of an NVMe namespace");
   auto const drive = disk.name.substr(0, nameSpace);
   auto const controller =
       controllerPath(disk, "pci0000:00/0000:01:0" + std::to_string(trailingNumber(drive)) + ".0");
   auto text = blockDevice(disk, controller + "/nvme/" + drive + "/" + disk.name, "../../" + drive, sequence);
   text.property("ID_MODEL", disk.model);
   auto const longSerial = joined("", disk.model, disk.serial);
   identity(text, disk, "nvme-", longSerial.empty() ? "" : longSerial + "_1");
   DeviceText parent(controller + "/nvme/" + drive, "nvme");
   parent.property("DEVNAME", "/dev/" + drive)
       .attribute("firmware_rev", disk.revision)
       .attribute("model", disk.model)
       .attribute("serial", disk.serial)
       .attribute("transport", "pcie")
       .attributesAre(disk.deviceAttributes);
   return {diskRecord(text, disk), parent.record(), pciDevice(controller, "nvme")};
}

std::vector<DeviceRecord> mmcRecords(Disk const & disk, unsigned sequence) {
   auto const controller = controllerPath(disk, "pci0000:00/0000:00:06.0");
   auto const host = "mmc" + std::to_string(trailingNumber(disk.name));
   auto const hostPath = controller + "/mmc_host/" + host;
   auto const card = host + ":0001";
   auto text = blockDevice(disk, hostPath + "/" + card + "/block/" + disk.name, "../../../" + card, sequence);
   text.property("ID_NAME", udevSpelling(disk.model));
   identity(text, disk, "mmc-" + udevSpelling(disk.model) + "_", disk.serial);
   DeviceText parent(hostPath + "/" + card, "mmc");
   parent.property("DRIVER", "mmcblk").attribute("name", disk.model).attribute("type", "MMC");
   if (!disk.cid.empty())
      parent.attribute("cid", disk.cid);
   if (!disk.serial.empty())
      parent.attribute("serial", disk.serial);
   DriveHealth const health;
   parent.attribute("life_time", emmcLifeTime(health)).attribute("pre_eol_info", emmcPreEndOfLife(health));
   parent.attributesAre(disk.deviceAttributes);
   return {diskRecord(text, disk), parent.record(), DeviceText(hostPath, "mmc_host").record(),
           pciDevice(controller, "sdhci-pci")};
}

// The USB devices on the way to a port, the bus first: usb1, usb1/1-1, usb1/1-1/1-1.2.
std::vector<std::string> usbDevicePaths(Disk const & disk, std::string const & controller) {
   auto const & port = disk.usbPort;
   auto const dash = port.find('-');
   if (dash == std::string::npos || port.find('/') != std::string::npos)
      throw std::invalid_argument("'" + port + "' is no USB port");
   std::vector<std::string> paths{controller + "/usb" + port.substr(0, dash)};
   for (auto end = port.find('.'); end != std::string::npos; end = port.find('.', end + 1))
      paths.push_back(paths.back() + "/" + port.substr(0, end));
   paths.push_back(paths.back() + "/" + port);
   return paths;
}

void usbParents(std::vector<DeviceRecord> & records, Disk const & disk,
                std::vector<std::string> const & paths) {
   DeviceText interface(paths.back() + "/" + disk.usbPort + ":1.0", "usb");
   records.push_back(
       interface.property("DEVTYPE", "usb_interface").property("DRIVER", "usb-storage").record());
   std::for_each(paths.rbegin(), paths.rend(), [&records](std::string const & path) {
      records.push_back(DeviceText(path, "usb").property("DEVTYPE", "usb_device").record());
   });
}

std::vector<DeviceRecord> usbRecords(Disk const & disk, unsigned sequence) {
   auto const controller = controllerPath(disk, "pci0000:00/0000:00:05.0");
   auto const paths = usbDevicePaths(disk, controller);
   auto const hostPath = paths.back() + "/" + disk.usbPort + ":1.0/host" + std::to_string(disk.host);
   auto text = blockDevice(disk, scsiDiskPath(disk, hostPath),
                           "../../../" + std::to_string(disk.host) + ":0:0:0", sequence);
   text.property("ID_BUS", "usb").property("ID_MODEL", udevSpelling(disk.model));
   if (!disk.vendor.empty())
      text.property("ID_VENDOR", udevSpelling(disk.vendor));
   auto const longSerial = joined(disk.vendor, disk.model, disk.serial);
   identity(text, disk, "usb-", longSerial.empty() ? "" : longSerial + "-0:0");
   std::vector<DeviceRecord> records{diskRecord(text, disk)};
   scsiParents(records, disk, hostPath);
   usbParents(records, disk, paths);
   records.push_back(pciDevice(controller, "xhci_hcd"));
   return records;
}

std::vector<DeviceRecord> otherRecords(Disk const & disk, unsigned sequence) {
   auto text = blockDevice(disk, controllerPath(disk, "virtual") + "/block/" + disk.name, "", sequence);
   if (!disk.model.empty())
      text.property("ID_MODEL", disk.model);
   identity(text, disk, "", joined(disk.vendor, disk.model, disk.serial));
   return {diskRecord(text, disk)};
}

}  // namespace

std::vector<DeviceRecord> deviceRecords(Disk const & disk, unsigned sequence) {
   if (disk.name.empty() || disk.name.find('/') != std::string::npos)
      throw std::invalid_argument("'" + disk.name + "' is no kernel name");
   switch (disk.kind) {
      case Disk::Kind::sata:
         return sataRecords(disk, sequence);
      case Disk::Kind::nvme:
         return nvmeRecords(disk, sequence);
      case Disk::Kind::mmc:
         return mmcRecords(disk, sequence);
      case Disk::Kind::usb:
         return usbRecords(disk, sequence);
      case Disk::Kind::other:
         break;
   }
   return otherRecords(disk, sequence);
}

}  // namespace StorageDevices::Simulation
