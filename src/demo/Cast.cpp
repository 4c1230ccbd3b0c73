#include "demo/Cast.h"

#include <algorithm>

#include "base/KernelLineSender.h"
#include "demo/AgentConfig.h"

namespace Demo {

namespace {

// The agent's numbers for storage types and buses.
enum Type { unidentified = 0, eusb = 1, sataSsd = 2, emmc = 3, nvme = 4 };
enum Bus { usbBus = 0, sataBus = 1, nvmeBus = 2, otherBus = 3 };

// Unknown maker 0x9b, product "OSPREY", revision 2.1.
constexpr char cidRegister[] = "9b014e4f53505245592100a1b2c35a01";

bool hasRecord(ApplianceState const & state, char const * serial, DiskState const & wanted) {
   auto const * disk = state.disk(serial);
   return disk != nullptr && *disk == wanted;
}

bool emmcIdentified(ApplianceState const & state) {
   return hasRecord(state, emmcSerial,
                    {"0x9b OSPREY", "2.1", "/dev/mmcblk0", "/mnt/drive2", false, emmc, otherBus, 32});
}

bool eusbIdentified(ApplianceState const & state) {
   return hasRecord(state, eusbSerial,
                    {"Wren_Internal_Flash", "1.00", "/dev/sdb", "/mnt/eusb", false, eusb, usbBus, 8});
}

}  // namespace

Disk flashDisk() {
   return StorageDevices::Simulation::sataDisk("sda", 1, flashSerial, "Kestrel S2 240GB", sectors(240));
}

Disk driveDisk() {
   return StorageDevices::Simulation::nvmeDrive("nvme0n1", driveSerial, "Marlin N7 480", sectors(480));
}

Disk emmcDisk() {
   return StorageDevices::Simulation::emmcDevice("mmcblk0", cidRegister, sectors(32));
}

Disk eusbDisk() {
   auto disk = StorageDevices::Simulation::usbDisk("sdb", "2-1", eusbSerial, "Internal Flash", sectors(8));
   disk.vendor = "Wren";
   return disk;
}

Disk usbStick() {
   auto disk = StorageDevices::Simulation::usbDisk("sdc", "1-1.2", stickSerial, "Pocket Stick", sectors(32));
   disk.vendor = "Vireo";
   return disk;
}

Disk cardReader() {
   auto disk =
       StorageDevices::Simulation::usbDisk("sdc", "1-1.3", readerSerial, "Card Reader", sectors(smallCard));
   disk.vendor = "Plover";
   return disk;
}

Disk unreadableDisk() {
   return StorageDevices::Simulation::sataDisk("sda", 1, unreadableSerial, "Kestrel S2 240GB", sectors(240));
}

StorageDevices::Simulation::DriveHealth fresh() {
   StorageDevices::Simulation::DriveHealth health;
   health.rawLifeIsLeft = true;
   return health;
}

void toolsReport(SimulatedUnit & unit, Disk const & disk) {
   unit.healthIs(disk, fresh());
   if (disk.kind == Disk::Kind::nvme)
      unit.tools().outputIs(Tool::nvmeList, disk.name,
                            StorageDevices::Simulation::nvmeListDocument(
                                {{disk.name, disk.model, disk.serial, "M7.11", disk.sectors * 512}}));
   else if (disk.kind == Disk::Kind::sata)
      unit.tools().outputIs(Tool::hdparm, disk.name,
                            StorageDevices::Simulation::hdparmReport(
                                {disk.name, disk.model, disk.serial, "KF2.4", disk.sectors}));
}

void mountAll(SimulatedUnit & unit) {
   constexpr unsigned halfFull = 52;
   auto & fileSystems = unit.fileSystems();
   for (auto const & [name, partition] : {std::pair{"flash", "sda1"}, std::pair{"drive", "nvme0n1p1"},
                                          std::pair{"drive2", "mmcblk0p1"}, std::pair{"eusb", "sdb1"}}) {
      fileSystems.mountIs(name, partition);
      fileSystems.usedPercentIs(name, halfFull);
      fileSystems.writeErrorIs(name, 0);
   }
}

void kernelLogs(SimulatedUnit & unit, std::string const & line) {
   Base::KernelLineSender(kernelSocket(unit)).send("kernel: [ 2718.281828] " + line);
}

bool flashIdentified(ApplianceState const & state) {
   return hasRecord(state, flashSerial,
                    {"Kestrel S2 240GB", "KF2.4", "/dev/sda", "/mnt/flash", false, sataSsd, sataBus, 240});
}

bool driveIdentified(ApplianceState const & state) {
   return hasRecord(state, driveSerial,
                    {"Marlin N7 480", "M7.11", "/dev/nvme0n1", "/mnt/drive", false, nvme, nvmeBus, 480});
}

bool bootDisksIdentified(ApplianceState const & state) {
   return state.internalDevicesReady && flashIdentified(state) && driveIdentified(state) &&
          emmcIdentified(state) && eusbIdentified(state);
}

bool stickConnected(ApplianceState const & state) {
   return hasRecord(state, stickSerial,
                    {"Pocket_Stick", "1.00", "/dev/sdc", "/mnt/usb1", true, unidentified, usbBus, 32});
}

bool cardReaderConnected(ApplianceState const & state, std::uint64_t gigabytes) {
   return hasRecord(state, readerSerial,
                    {"Card_Reader", "1.00", "/dev/sdc", "/mnt/usb1", true, unidentified, usbBus,
                     static_cast<unsigned>(gigabytes)});
}

// What udev knows is all there is: its spelling of the model, and its revision.
bool unreadableDiskConnected(ApplianceState const & state) {
   return hasRecord(state, unreadableSerial,
                    {"Kestrel_S2_240GB", "1.0", "/dev/sda", "/mnt/flash", false, sataSsd, sataBus, 240});
}

bool isRead(ApplianceState const & state, char const * serial) {
   auto const * health = state.healthOf(serial);
   return health != nullptr && health->failing.empty() && health->lifeLeft;
}

bool bootDisksHealthy(ApplianceState const & state) {
   auto const healthy = [&](char const * serial) {
      return isRead(state, serial) && state.healthOf(serial)->verdict == "ok";
   };
   return healthy(flashSerial) && healthy(driveSerial) && healthy(emmcSerial);
}

bool failing(ApplianceState const & state, char const * serial, std::string const & reading) {
   auto const * health = state.healthOf(serial);
   return health != nullptr && health->failing.starts_with(reading);
}

std::string fileSystem(ApplianceState const & state, char const * mountPoint) {
   auto const found = state.fileSystems.find(mountPoint);
   return found == state.fileSystems.end() ? std::string() : found->second;
}

bool fileSystemsAre(ApplianceState const & state, std::vector<std::string> const & words) {
   auto const isOneOf = [&](char const * mountPoint) {
      return std::find(words.begin(), words.end(), fileSystem(state, mountPoint)) != words.end();
   };
   return isOneOf("/mnt/flash") && isOneOf("/mnt/drive") && isOneOf("/mnt/drive2") && isOneOf("/mnt/eusb");
}

}  // namespace Demo
