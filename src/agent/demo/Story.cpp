#include "agent/demo/Story.h"

namespace Agent::Demo {

namespace {

using Simulation::Disk;
using Simulation::SimulatedUnit;
using Simulation::Tool;

// The agent's numbers for storage types and buses.
enum Type { unidentified = 0, eusb = 1, sataSsd = 2, emmc = 3, nvme = 4 };
enum Bus { usbBus = 0, sataBus = 1, nvmeBus = 2, otherBus = 3 };

constexpr std::uint64_t gigabyte = 1000000000;
constexpr std::uint64_t sectors(std::uint64_t gigabytes) {
   return gigabytes * gigabyte / 512;
}

constexpr char flashSerial[] = "KS0240118842";
constexpr char driveSerial[] = "MRN7A0031955";
constexpr char cardSerial[] = "00a1b2c3";
constexpr char eusbSerial[] = "WR7F31C0";
constexpr char firstStickSerial[] = "VT00051D";
constexpr char secondStickSerial[] = "PL3390AA";
constexpr char slowSerial[] = "KS0960220017";
constexpr char brokenSerial[] = "KS0960220099";

// Unknown maker 0x9b, product "OSPREY", revision 2.1.
constexpr char cardRegister[] = "9b014e4f53505245592100a1b2c35a01";

constexpr std::uint64_t smallCard = 16;
constexpr std::uint64_t bigCard = 64;

Disk flashDisk() {
   return Simulation::sataDisk("sda", 1, flashSerial, "Kestrel S2 240GB", sectors(240));
}

Disk driveDisk() {
   return Simulation::nvmeDrive("nvme0n1", driveSerial, "Marlin N7 480", sectors(480));
}

Disk cardDisk() {
   return Simulation::emmcCard("mmcblk0", cardRegister, sectors(32));
}

Disk eusbDisk() {
   auto disk = Simulation::usbDisk("sdb", "2-1", eusbSerial, "Internal Flash", sectors(8));
   disk.vendor = "Wren";
   return disk;
}

Disk firstStick() {
   auto disk = Simulation::usbDisk("sdc", "1-1.2", firstStickSerial, "Pocket Stick", sectors(32));
   disk.vendor = "Vireo";
   return disk;
}

Disk secondStick() {
   auto disk = Simulation::usbDisk("sdc", "1-1.3", secondStickSerial, "Card Reader", sectors(smallCard));
   disk.vendor = "Plover";
   return disk;
}

Disk slowDisk() {
   return Simulation::sataDisk("sdd", 3, slowSerial, "Kestrel S2 960GB", sectors(960));
}

Disk brokenDisk() {
   return Simulation::sataDisk("sde", 4, brokenSerial, "Kestrel S2 960GB", sectors(960));
}

void toolKnows(SimulatedUnit & unit, Disk const & disk, std::string const & firmware) {
   unit.healthIs(disk, {});
   if (disk.kind == Disk::Kind::nvme)
      unit.tools().outputIs(
          Tool::nvmeList, disk.name,
          Simulation::nvmeListDocument({{disk.name, disk.model, disk.serial, firmware, disk.sectors * 512}}));
   else
      unit.tools().outputIs(
          Tool::hdparm, disk.name,
          Simulation::hdparmReport({disk.name, disk.model, disk.serial, firmware, disk.sectors}));
}

bool there(ApplianceState const & state, char const * serial, DiskState const & wanted) {
   auto const * disk = state.disk(serial);
   return disk != nullptr && *disk == wanted;
}

bool flashIdentified(ApplianceState const & state) {
   return there(state, flashSerial,
                {"Kestrel S2 240GB", "KF2.4", "/dev/sda", "/mnt/flash", false, sataSsd, sataBus, 240});
}

bool driveIdentified(ApplianceState const & state) {
   return there(state, driveSerial,
                {"Marlin N7 480", "M7.11", "/dev/nvme0n1", "/mnt/drive", false, nvme, nvmeBus, 480});
}

bool cardIdentified(ApplianceState const & state) {
   return there(state, cardSerial,
                {"0x9b OSPREY", "2.1", "/dev/mmcblk0", "/mnt/drive2", false, emmc, otherBus, 32});
}

bool eusbIdentified(ApplianceState const & state) {
   return there(state, eusbSerial,
                {"Wren_Internal_Flash", "1.00", "/dev/sdb", "/mnt/eusb", false, eusb, usbBus, 8});
}

// Whether a disk's health is known and no reading of it fails.
bool healthy(ApplianceState const & state, char const * serial) {
   auto const * health = state.healthOf(serial);
   return health != nullptr && health->passed.value_or(true) && health->failing.empty() &&
          (health->hours || health->lifeUsed);
}

bool bootDisksHealthy(ApplianceState const & state) {
   return healthy(state, flashSerial) && healthy(state, driveSerial) && healthy(state, cardSerial);
}

bool failing(ApplianceState const & state, char const * serial, std::string const & reading) {
   auto const * health = state.healthOf(serial);
   return health != nullptr && health->failing.starts_with(reading);
}

bool bootDisksIdentified(ApplianceState const & state) {
   return state.internalDevicesReady && flashIdentified(state) && driveIdentified(state) &&
          cardIdentified(state) && eusbIdentified(state);
}

bool firstStickThere(ApplianceState const & state) {
   return there(state, firstStickSerial,
                {"Pocket_Stick", "1.00", "/dev/sdc", "/mnt/usb1", true, unidentified, usbBus, 32});
}

bool secondStickThere(ApplianceState const & state, std::uint64_t gigabytes) {
   return there(state, secondStickSerial,
                {"Card_Reader", "1.00", "/dev/sdc", "/mnt/usb1", true, unidentified, usbBus,
                 static_cast<unsigned>(gigabytes)});
}

bool slowIdentified(ApplianceState const & state) {
   return there(state, slowSerial,
                {"Kestrel S2 960GB", "KF2.4", "/dev/sdd", "/mnt/data1", false, sataSsd, sataBus, 960});
}

// What udev knows is all there is: its spelling of the model, and its revision.
bool brokenUnidentified(ApplianceState const & state) {
   return there(state, brokenSerial,
                {"Kestrel_S2_960GB", "1.0", "/dev/sde", "/mnt/data2", false, sataSsd, sataBus, 960});
}

void plugStick(SimulatedUnit & unit, Disk const & disk) {
   unit.healthIs(disk, {});
   unit.plug(disk);
}

void plugSlow(SimulatedUnit & unit) {
   toolKnows(unit, slowDisk(), "KF2.4");
   unit.tools().delayIs(Tool::hdparm, slowDisk().name, 2);
   unit.plug(slowDisk());
}

void plugBroken(SimulatedUnit & unit) {
   unit.healthIs(brokenDisk(), {});
   unit.tools().outputIs(Tool::hdparm, brokenDisk().name, "");
   unit.tools().exitCodeIs(Tool::hdparm, brokenDisk().name, 5);
   unit.plug(brokenDisk());
}

std::vector<Step> discovery() {
   return {
       {"The unit boots with a SATA disk, an NVMe drive, an eMMC and an eUSB; hdparm, nvme and the card's "
        "register tell who they are",
        [](SimulatedUnit &) {}, bootDisksIdentified, std::chrono::seconds(20)},
       {"A USB stick is plugged in", [](SimulatedUnit & unit) { plugStick(unit, firstStick()); },
        firstStickThere},
       {"The stick is pulled", [](SimulatedUnit & unit) { unit.unplug("sdc"); },
        [](ApplianceState const & state) { return state.disk(firstStickSerial) == nullptr; }},
       {"A card reader with a small card is plugged in",
        [](SimulatedUnit & unit) { plugStick(unit, secondStick()); },
        [](ApplianceState const & state) { return secondStickThere(state, smallCard); }},
       {"The reader gets a bigger card",
        [](SimulatedUnit & unit) {
           unit.sectorsIs("sdc", sectors(bigCard));
           unit.change("sdc");
        },
        [](ApplianceState const & state) { return secondStickThere(state, bigCard); }},
   };
}

// A year of hard work.
Simulation::DriveHealth worn() {
   Simulation::DriveHealth health;
   health.temperature = 58;
   health.powerOnHours = 17880;
   health.percentUsed = 91;
   health.bytesWritten = 190'000'000'000'000;
   return health;
}

Simulation::DriveHealth broken() {
   auto health = worn();
   health.passed = false;
   health.reallocatedSectors = 2040;
   return health;
}

bool grownOld(ApplianceState const & state) {
   auto const * flash = state.healthOf(flashSerial);
   auto const * drive = state.healthOf(driveSerial);
   auto const * card = state.healthOf(cardSerial);
   return flash != nullptr && flash->temperature == worn().temperature &&
          flash->hours == static_cast<double>(worn().powerOnHours) && drive != nullptr &&
          drive->lifeUsed == worn().percentUsed && card != nullptr && card->lifeUsed == 10;
}

std::vector<Step> health() {
   return {
       {"smartctl, nvme and the chip's registers tell how the disks are", [](SimulatedUnit &) {},
        bootDisksHealthy},
       {"A year of hard work: the disks are warm and old",
        [](SimulatedUnit & unit) {
           for (auto const & disk : {flashDisk(), driveDisk(), cardDisk()}) {
              unit.healthIs(disk, worn());
              unit.trafficIs(disk.name, 2'000'000'000'000, 9'000'000'000'000);
           }
        },
        grownOld},
       {"smartctl prints rubbish about the SATA disk: what was read before stays",
        [](SimulatedUnit & unit) { unit.tools().outputIs(Tool::smartctl, "sda", "Segmentation fau"); },
        [](ApplianceState const & state) {
           return failing(state, flashSerial, "smartctl: unreadable output") && grownOld(state);
        }},
       {"smartctl is itself again, and the disk fails its self-test",
        [](SimulatedUnit & unit) { unit.healthIs(flashDisk(), broken()); },
        [](ApplianceState const & state) {
           auto const * flash = state.healthOf(flashSerial);
           return flash != nullptr && flash->passed == false && flash->failing.empty();
        }},
       {"nvme hangs on the NVMe drive; its run is ended after four seconds, the other disks are read on",
        [](SimulatedUnit & unit) { unit.tools().hangsIs(Tool::nvmeSmartLog, "nvme0n1", true); },
        [](ApplianceState const & state) { return failing(state, driveSerial, "nvme: "); },
        std::chrono::seconds(15)},
       {"nvme answers again",
        [](SimulatedUnit & unit) { unit.tools().hangsIs(Tool::nvmeSmartLog, "nvme0n1", false); },
        [](ApplianceState const & state) { return healthy(state, driveSerial); }, std::chrono::seconds(15)},
       {"The failing SATA disk is taken out for repair", [](SimulatedUnit & unit) { unit.unplug("sda"); },
        [](ApplianceState const & state) {
           return state.disk(driveSerial) != nullptr && state.disk(flashSerial) == nullptr;
        }},
       {"It comes back as new, and the others are replaced by new ones of the same kind",
        [](SimulatedUnit & unit) {
           for (auto const & disk : {flashDisk(), driveDisk(), cardDisk()})
              unit.healthIs(disk, {});
           unit.plug(flashDisk());
        },
        [](ApplianceState const & state) {
           return flashIdentified(state) && bootDisksHealthy(state) && !grownOld(state);
        }},
   };
}

std::vector<Step> troubles() {
   return {
       {"The NVMe drive is pulled while the unit runs", [](SimulatedUnit & unit) { unit.unplug("nvme0n1"); },
        [](ApplianceState const & state) { return state.disk(driveSerial) == nullptr; }},
       {"The NVMe drive is put back", [](SimulatedUnit & unit) { unit.plug(driveDisk()); }, driveIdentified},
       {"A disk for which hdparm takes two seconds is plugged in", plugSlow, slowIdentified},
       {"A disk for which hdparm fails is plugged in: it appears with what udev knows", plugBroken,
        brokenUnidentified},
       {"All that was plugged in is pulled",
        [](SimulatedUnit & unit) {
           for (auto const * name : {"sdc", "sdd", "sde"})
              unit.unplug(name);
        },
        [](ApplianceState const & state) { return state.disks.size() == 4 && bootDisksIdentified(state); }},
   };
}

}  // namespace

std::vector<std::string> const & expectedMounts() {
   static std::vector<std::string> const mounts{"flash", "drive", "drive2", "eusb", "data1", "data2"};
   return mounts;
}

void bootUnit(SimulatedUnit & unit) {
   unit.blockdevIs({{"pci0000:00/0000:00:02.0/ata1/host", "flash"},
                    {"pci0000:00/0000:01:00.0/nvme", "drive"},
                    {"pci0000:00/0000:00:06.0/mmc_host", "drive2"},
                    {"pci0000:00/0000:00:05.0/usb2/2-1", "eusb"},
                    {"pci0000:00/0000:00:02.0/ata3/host", "data1"},
                    {"pci0000:00/0000:00:02.0/ata4/host", "data2"},
                    {"pci0000:00/0000:00:05.0/usb1/1-1", "usb1"}});
   for (auto const & disk : {flashDisk(), driveDisk(), cardDisk(), eusbDisk()})
      unit.add(disk);
   toolKnows(unit, flashDisk(), "KF2.4");
   toolKnows(unit, driveDisk(), "M7.11");
   unit.healthIs(eusbDisk(), {});
}

std::vector<Step> const & story() {
   static std::vector<Step> const steps = [] {
      auto all = discovery();
      for (auto const & more : {health(), troubles()})
         all.insert(all.end(), more.begin(), more.end());
      return all;
   }();
   return steps;
}

}  // namespace Agent::Demo
