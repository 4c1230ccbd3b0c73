#include "tests/endurance/UnitParts.h"

#include "tests/endurance/Reports.h"

namespace Endurance {

namespace Simulation = StorageDevices::Simulation;

Simulation::Disk deviceOf(PlaceState const & place) {
   std::string const serial = udevSerial(*place.place, place.number);
   std::string const kernel = place.kernel();
   switch (place.place->kind) {
      case Kind::sata:
         return Simulation::sataDisk(kernel, place.place->port == "ata1" ? 1 : 2, serial, "Kestrel S2",
                                     diskSectors);
      case Kind::nvme:
         return Simulation::nvmeDrive(kernel, serial, "Marlin N7", diskSectors);
      case Kind::emmc:
         return Simulation::emmcDevice(kernel, "9b014e4f535052455921" + serial.substr(2) + "5a01",
                                       diskSectors);
      case Kind::fixedUsb: {
         auto disk = Simulation::usbDisk(kernel, "1-1", serial, "Internal Flash", diskSectors);
         disk.vendor = "Wren";
         return disk;
      }
      case Kind::stick: {
         auto disk = Simulation::usbDisk(kernel, "2-1", serial, "Pocket Stick", diskSectors);
         disk.vendor = "Vireo";
         return disk;
      }
   }
   return {};
}

Agent::Config configOf(std::filesystem::path const & folder, std::filesystem::path const & etc,
                       World const & world) {
   Agent::Config config;
   config.appliance.etcDir = etc.string();
   config.appliance.mountSourceDir = (folder / "mount-source").string();
   config.appliance.expectedMounts.clear();
   for (Place const & place : places)
      if (place.fixed)
         config.appliance.expectedMounts.emplace_back(place.mount);
   for (auto const & name : sensorPlaces) {
      PlaceState const & place = world.at(std::string{name});
      std::string const sensor = "Sensor " + std::string{name};
      config.sensors[sensor] = {sensor, overheat, critical};
      config.appliance.sensors[udevSerial(*place.place, place.number)] = sensor;
   }
   config.kernelMessages.socket = (folder / "kernel").string();
   return config;
}

std::string kernelLine(PlaceState const & place, std::string const & form) {
   std::string const name = place.kernel();
   std::string const port{place.place->port};
   std::string const intro = "kernel: [  123.456789] ";
   if (form == "port") {
      if (port.starts_with("usb"))
         return intro + port + ": USB disconnect, device number 3";
      return intro + port +
             (port.starts_with("mmc") ? ": Timeout waiting for hardware interrupt" : ": hard resetting link");
   }
   if (form == "buffer")
      return intro + "Buffer I/O error on device " + name + ", logical block 5";
   if (form == "partition")
      return intro + "Buffer I/O error on device " + name + "p1, logical block 5";
   if (form == "block")
      return intro + "blk_update_request: I/O error, dev " + name + ", sector 8";
   if (form == "end-request")
      return intro + "end_request: I/O error, dev " + name + ", sector 8";
   if (form == "ext4")
      return intro + "EXT4-fs error (device " + name + "): ext4_find_entry:1455: inode #2";
   if (form == "sense")
      return intro + "sd 0:0:0:0: [" + name + "]  Sense Key : Medium Error";
   return intro + port + ": new high-speed device of no interest";
}

}  // namespace Endurance
