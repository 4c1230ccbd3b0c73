#include "StorageDevices/DeviceVerdict.h"

#include <algorithm>
#include <string_view>

#include "StorageDevices/BusAddress.h"
#include "StorageDevices/CDevsUtil.h"
#include "StorageDevices/DeviceNames.h"
#include "StorageDevices/SizeGb.h"
#include "StorageDevices/Udev.h"

namespace StorageDevices {

namespace {

constexpr std::string_view sysDevices = "/sys/devices/";
constexpr std::string_view mountRoot = "/mnt/";

bool matches(Pelm::String const & sysPath, Pelm::String const & pattern) {
   return CDevsUtil::bashRegexMatch(sysPath.data(), pattern.data());
}

bool isInactiveDrive(Pelm::String const & sysPath, ApplianceRules const & rules) {
   if (rules.multidriveSrc && matches(sysPath, *rules.multidriveSrc))
      return false;
   return std::any_of(rules.etcMultidrive.begin(), rules.etcMultidrive.end(),
                      [&](Pelm::String const & pattern) { return matches(sysPath, pattern); });
}

// Null when no entry speaks of the device.
EtcBlockdevEntry const * entryFor(Pelm::String const & sysPath, ApplianceRules const & rules) {
   auto const entry = std::find_if(rules.etcBlockDev.begin(), rules.etcBlockDev.end(),
                                   [&](EtcBlockdevEntry const & e) { return matches(sysPath, e.sysPathRe); });
   return entry == rules.etcBlockDev.end() ? nullptr : &*entry;
}

bool isFixed(Pelm::String const & mount, FruConfig const & fruConfig) {
   return mount == "flash" || mount == "drive" || mount == "drive2" ||
          fruConfig.expectedMounts.contains(mount);
}

Pelm::Ptr<ConnectedDisk const> provisionalDisk(udev_device * device, Pelm::String const & mount,
                                               bool removable) {
   Pelm::String mountPoint = mount;
   mountPoint.addLeft(mountRoot);
   Pelm::String model = udevProperty(device, "ID_NAME");
   if (model.empty())
      model = udevProperty(device, "ID_MODEL");
   BusAddress const bus = busAddress(device);
   char const * const sectors = udev_device_get_sysattr_value(device, "size");
   return Pelm::make<ConnectedDisk const>(CDevsUtil::udevSerial(device), EntityMib::StorageType::unknown,
                                          udev_device_get_devnode(device), mountPoint, model,
                                          udevProperty(device, "ID_REVISION"), removable, bus.busType,
                                          bus.devAddress, sizeGbFromSectors(sectors ? sectors : ""));
}

DeviceVerdict::Collector collectorFor(udev_device * device) {
   std::string_view name = udev_device_get_devnode(device);
   if (constexpr std::string_view dev = "/dev/"; name.starts_with(dev))
      name.remove_prefix(dev.size());
   if (isScsiDiskName(name)) {
      char const * const rotational = udev_device_get_sysattr_value(device, "queue/rotational");
      if (!rotational)
         return DeviceVerdict::Collector::none;
      return std::string_view{rotational} == "0" ? DeviceVerdict::Collector::ssd
                                                 : DeviceVerdict::Collector::eusb;
   }
   if (isNvmeDiskName(name))
      return DeviceVerdict::Collector::nvme;
   return isEmmcDiskName(name) ? DeviceVerdict::Collector::emmc : DeviceVerdict::Collector::none;
}

}  // namespace

bool isAddressable(udev_device * device) {
   char const * const node = udev_device_get_devnode(device);
   char const * const path = udev_device_get_syspath(device);
   return !CDevsUtil::udevSerial(device).empty() && node && *node && path && *path;
}

DeviceVerdict judge(udev_device * device, ApplianceRules const & rules, FruConfig const & fruConfig) {
   Pelm::String path = udev_device_get_syspath(device);
   path.erase(path.begin(), path.begin() + std::min(path.size(), sysDevices.size()));
   if (isInactiveDrive(path, rules))
      return {DeviceVerdict::Kind::inactive, nullptr, DeviceVerdict::Collector::none};
   EtcBlockdevEntry const * const entry = entryFor(path, rules);
   if (!entry)
      return {DeviceVerdict::Kind::strange, nullptr, DeviceVerdict::Collector::none};
   bool const fixed = isFixed(entry->mount, fruConfig);
   return {fixed ? DeviceVerdict::Kind::fixed : DeviceVerdict::Kind::removable,
           provisionalDisk(device, entry->mount, !fixed),
           fixed ? collectorFor(device) : DeviceVerdict::Collector::none};
}

}  // namespace StorageDevices
