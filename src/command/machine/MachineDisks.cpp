#include "command/machine/MachineDisks.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <tuple>

#include "base/SimulatedUnit.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/model/FruConfig.h"
#include "runtime/model/MountTable.h"

namespace Command {

namespace {

namespace fs = std::filesystem;
namespace Mounts = StorageDevices::Mounts;

constexpr char sysDevices[] = "/sys/devices/";
constexpr char decimalDigits[] = "0123456789";

// A temporary directory in the place of /etc.
class ScratchEtc {
 public:
   ScratchEtc() {
      std::string name = fs::temp_directory_path() / "storagedevices-init.XXXXXX";
      if (mkdtemp(name.data()) == nullptr)
         throw std::system_error{errno, std::generic_category(), name};
      path_ = name;
   }
   ScratchEtc(ScratchEtc const &) = delete;
   ScratchEtc & operator=(ScratchEtc const &) = delete;
   ~ScratchEtc() {
      std::error_code ignored;
      fs::remove_all(path_, ignored);
   }
   fs::path const & path() const { return path_; }

 private:
   fs::path path_;
};

std::string firstWord(std::string const & path) {
   std::string word;
   constexpr int longest = 64;
   std::ifstream file{path};
   file.width(longest);
   file >> word;
   return word;
}

std::vector<std::string> namesIn(fs::path const & folder) {
   std::vector<std::string> names;
   std::error_code error;
   for (auto const & entry : fs::directory_iterator{folder, error})
      names.push_back(entry.path().filename());
   std::sort(names.begin(), names.end());
   return names;
}

bool isWholly(std::string_view text, std::string_view set) {
   return !text.empty() && text.find_first_not_of(set) == std::string_view::npos;
}

// The kernel's name of a whole disk. Boot areas of an eMMC device are no disks.
bool isDiskName(std::string_view name) {
   for (std::string_view const word : {"sd", "hd", "vd", "xvd"})
      if (name.starts_with(word) && isWholly(name.substr(word.size()), "abcdefghijklmnopqrstuvwxyz"))
         return true;
   constexpr std::string_view card = "mmcblk";
   return name.starts_with("nvme") ||
          (name.starts_with(card) && isWholly(name.substr(card.size()), decimalDigits));
}

// Whether the device is the disk or one of its partitions.
bool isOn(std::string_view device, std::string_view disk) {
   if (!device.starts_with(disk))
      return false;
   std::string_view rest = device.substr(disk.size());
   bool const endsInDigit = isWholly(disk.substr(disk.size() - 1), decimalDigits);
   if (endsInDigit && rest.starts_with('p'))
      rest.remove_prefix(1);
   else if (endsInDigit && !rest.empty())
      return false;
   return rest.empty() ? device == disk : isWholly(rest, decimalDigits);
}

// A mount point, and all devices that its file system is on.
struct MountedDevices {
   std::string mountPoint;
   std::vector<std::string> devices;
};

std::vector<MountedDevices> mountTable() {
   if (auto const root = Base::simulatedRoot())
      Mounts::rootIs(*root);
   std::vector<MountedDevices> table;
   for (std::string const & mountPoint : Mounts::mountPoints()) {
      auto const mounts = Mounts::mountsAt(Pelm::String{mountPoint});
      if (mounts.empty())
         continue;
      std::string const device = mounts.back().device.str();
      table.push_back({mountPoint, Mounts::devicesBelow(device)});
      table.back().devices.push_back(device);
   }
   return table;
}

// A disk that its USB port calls fixed cannot be pulled, whatever the disk says.
bool isFixedUsb(std::string const & path) {
   fs::path const interface = path.substr(0, path.find("/host"));
   return firstWord(sysDevices + interface.parent_path().string() + "/removable") == "fixed";
}

void addNature(MachineDisk & disk) {
   disk.isUsb = disk.path.find("/usb") != std::string::npos;
   bool const isCard = firstWord(sysDevices + disk.path + "/device/type") == "SD";
   bool const saysSo = firstWord(sysDevices + disk.path + "/removable") == "1";
   disk.isRemovable = isCard || (saysSo && !(disk.isUsb && isFixedUsb(disk.path)));
}

void addUse(MachineDisk & disk, std::vector<MountedDevices> const & table) {
   for (auto const & [mountPoint, devices] : table)
      if (std::any_of(devices.begin(), devices.end(),
                      [&](std::string const & device) { return isOn(device, disk.device); }))
         disk.mountPoints.push_back(mountPoint);
   fs::path const folder = sysDevices + disk.path;
   disk.users = namesIn(folder / "holders");
   for (std::string const & partition : namesIn(folder))
      if (isOn("/dev/" + partition, disk.device))
         for (std::string & user : namesIn(folder / partition / "holders"))
            disk.users.push_back(std::move(user));
}

MachineDisk machineDisk(StorageDevices::PreviewedDevice const & device,
                        std::vector<MountedDevices> const & table) {
   MachineDisk disk{device.device, device.serial, device.sysPath};
   disk.port =
       portPattern(disk.path, [](std::string const & folder) { return namesIn(sysDevices + folder); });
   if (device.mountPoint.empty())
      disk.obstacle = device.reason;
   addNature(disk);
   addUse(disk, table);
   return disk;
}

}  // namespace

StorageDevices::DiscoveryPreview previewWith(std::string_view blockdev, fs::path const & etcDir,
                                             std::vector<std::string> const & expectedMounts) {
   ScratchEtc const etc;
   std::ofstream file{etc.path() / "blockdev"};
   if (!(file << blockdev << std::flush))
      throw std::runtime_error{etc.path().string() + ": cannot be written"};
   for (char const * name : {"multidrive", "multidrive_src"})
      fs::create_symlink(etcDir / name, etc.path() / name);
   auto const fruConfig = Pelm::make<FruConfig>();
   fruConfig->etcDirIs(Pelm::String{etc.path().string()});
   for (std::string const & mount : expectedMounts)
      fruConfig->expectedMountsIs(Pelm::String{mount});
   return StorageDevices::previewDiscovery(fruConfig);
}

std::vector<MachineDisk> machineDisks(fs::path const & etcDir) {
   auto const preview = previewWith(". any\n", etcDir, {});
   if (!preview.udevAvailable)
      throw std::runtime_error{"udev: its devices cannot be listed: " + preview.udevError};
   auto const table = mountTable();
   std::vector<MachineDisk> disks;
   for (auto const & device : preview.devices)
      if (isDiskName(fs::path{device.device}.filename().string()))
         disks.push_back(machineDisk(device, table));
   std::sort(disks.begin(), disks.end(), [](MachineDisk const & a, MachineDisk const & b) {
      return std::tuple{a.device.size(), a.device} < std::tuple{b.device.size(), b.device};
   });
   return disks;
}

}  // namespace Command
