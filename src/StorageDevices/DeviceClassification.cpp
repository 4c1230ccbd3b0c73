#include "StorageDevices/DeviceClassification.h"

#include <algorithm>
#include <string_view>

#include "StorageDevices/BusAddress.h"
#include "StorageDevices/CDevsUtil.h"
#include "StorageDevices/DeviceNames.h"
#include "StorageDevices/Shortage.h"
#include "StorageDevices/SizeGb.h"
#include "StorageDevices/Udev.h"

namespace StorageDevices {

namespace {

constexpr std::string_view sysDevices = "/sys/devices/";
constexpr std::string_view mountPointPrefix = "/mnt/";

// Matches one path with patterns, until a shortage keeps one from being matched.
class PathMatch {
 public:
   PathMatch(Pelm::String const & path, Matcher const & matcher) : path_{path}, matcher_{matcher} {}

   bool matches(Pelm::String const & pattern) {
      if (shortage_ != 0)
         return false;
      auto const answer = matcher_(path_.data(), pattern.data());
      if (isShortage(answer.startError))
         shortage_ = answer.startError;
      return answer.status == 0;
   }
   bool isInactive(ApplianceRules const & rules) {
      if (rules.multidriveSrc && matches(*rules.multidriveSrc))
         return false;
      return std::any_of(rules.etcMultidrive.begin(), rules.etcMultidrive.end(),
                         [&](Pelm::String const & pattern) { return matches(pattern); });
   }
   int shortage() const { return shortage_; }

 private:
   Pelm::String const & path_;
   Matcher const & matcher_;
   int shortage_ = 0;
};

bool isFixed(Pelm::String const & mount, FruConfig const & fruConfig) {
   return mount == "flash" || mount == "drive" || mount == "drive2" ||
          fruConfig.expectedMounts.contains(mount);
}

Pelm::Ptr<ConnectedDisk const> provisionalDisk(udev_device * device, Pelm::String const & mount,
                                               bool removable) {
   Pelm::String mountPoint = mount;
   mountPoint.addLeft(mountPointPrefix);
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

DeviceClassification::Collector identifyingCollector(udev_device * device) {
   std::string_view name = udev_device_get_devnode(device);
   if (constexpr std::string_view dev = "/dev/"; name.starts_with(dev))
      name.remove_prefix(dev.size());
   if (isScsiDiskName(name)) {
      char const * const rotational = udev_device_get_sysattr_value(device, "queue/rotational");
      if (!rotational)
         return DeviceClassification::Collector::none;
      return std::string_view{rotational} == "0" ? DeviceClassification::Collector::ssd
                                                 : DeviceClassification::Collector::eusb;
   }
   if (isNvmeDiskName(name))
      return DeviceClassification::Collector::nvme;
   return isEmmcDiskName(name) ? DeviceClassification::Collector::emmc
                               : DeviceClassification::Collector::none;
}

}  // namespace

bool isAddressable(udev_device * device) {
   char const * const node = udev_device_get_devnode(device);
   char const * const path = udev_device_get_syspath(device);
   return !CDevsUtil::udevSerial(device).empty() && node && *node && path && *path;
}

Pelm::String patternPath(udev_device * device) {
   Pelm::String path = udev_device_get_syspath(device);
   path.erase(path.begin(), path.begin() + std::min(path.size(), sysDevices.size()));
   return path;
}

bool isInactive(Pelm::String const & path, ApplianceRules const & rules) {
   Matcher const matcher = &CDevsUtil::askExpr;
   return PathMatch{path, matcher}.isInactive(rules);
}

PathClassification classifyPath(Pelm::String const & path, ApplianceRules const & rules,
                                Matcher const & matcher) {
   using Kind = PathClassification::Kind;
   PathMatch match{path, matcher};
   if (match.isInactive(rules))
      return {Kind::inactive, {}, 0};
   auto const entry =
       std::find_if(rules.etcBlockDev.begin(), rules.etcBlockDev.end(),
                    [&](EtcBlockdevEntry const & each) { return match.matches(each.sysPathRe()); });
   if (match.shortage() != 0)
      return {Kind::unlisted, {}, match.shortage()};
   if (entry == rules.etcBlockDev.end())
      return {Kind::unlisted, {}, 0};
   return {Kind::known, entry->mount(), 0};
}

DeviceClassification classify(udev_device * device, Pelm::String const & mount, FruConfig const & fruConfig) {
   bool const fixed = isFixed(mount, fruConfig);
   auto const collector = fixed ? identifyingCollector(device) : DeviceClassification::Collector::none;
   return {fixed ? DeviceClassification::Kind::fixed : DeviceClassification::Kind::removable,
           provisionalDisk(device, mount, !fixed), collector,
           collector == DeviceClassification::Collector::eusb ? udevProperty(device, "DEVLINKS")
                                                              : Pelm::String{}};
}

}  // namespace StorageDevices
