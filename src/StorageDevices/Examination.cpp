#include "StorageDevices/Examination.h"

#include <algorithm>
#include <fstream>
#include <string_view>

#include "StorageDevices/ApplianceErrors.h"
#include "StorageDevices/CDevsUtil.h"
#include "StorageDevices/DeviceVerdict.h"
#include "StorageDevices/Udev.h"
#include "runtime/Vorn/Format.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

Vorn::TraceHandle traceHandle{"StorageExamination", true};

char const * collectorText(DeviceVerdict::Collector collector) {
   switch (collector) {
      case DeviceVerdict::Collector::none:
         return "known by what udev says of it";
      case DeviceVerdict::Collector::ssd:
         return "identified by hdparm -I";
      case DeviceVerdict::Collector::eusb:
         return "identified by its link under /dev/disk/by-id";
      case DeviceVerdict::Collector::nvme:
         return "identified by nvme list";
      case DeviceVerdict::Collector::emmc:
         return "identified by its CID register";
   }
   return "";
}

std::string diskText(DeviceVerdict const & verdict) {
   ConnectedDisk const & disk = *verdict.disk;
   std::string const address = disk.deviceIntfAndAddress().str();
   std::string const attached =
       std::string{disk.busType().stringValue().view()} + (address.empty() ? "" : " (" + address + ")");
   return disk.mountPoint().str() + ", " + attached + ", " + std::to_string(disk.sizeGb()) + " GB, " +
          collectorText(verdict.collector);
}

void explain(ExaminedDevice & examined, udev_device * device, ApplianceRules const & rules,
             FruConfig const & fruConfig) {
   examined.verdict = "skipped";
   if (!isAddressable(device)) {
      examined.reason = CDevsUtil::udevSerial(device).empty() ? "udev knows no serial number of it"
                                                              : "udev knows no device node of it";
      return;
   }
   DeviceVerdict const verdict = judge(device, rules, fruConfig);
   switch (verdict.kind) {
      case DeviceVerdict::Kind::inactive:
         examined.reason = "multidrive lists it and it is not the source drive of multidrive_src";
         break;
      case DeviceVerdict::Kind::strange:
         examined.reason = "no entry of blockdev matches its path";
         break;
      case DeviceVerdict::Kind::removable:
         examined.verdict = "removable";
         examined.reason = diskText(verdict);
         break;
      case DeviceVerdict::Kind::fixed:
         examined.verdict = "fixed";
         examined.reason = diskText(verdict);
         break;
   }
}

ExaminedDevice examine(udev_device * device, ApplianceRules const & rules, FruConfig const & fruConfig) {
   constexpr std::string_view sysDevices = "/sys/devices/";
   char const * const node = udev_device_get_devnode(device);
   std::string_view path = udev_device_get_syspath(device);
   path.remove_prefix(std::min(path.size(), sysDevices.size()));
   ExaminedDevice examined{node ? node : udev_device_get_sysname(device), std::string{path}, {}, {}};
   if (std::string_view{udev_device_get_sysname(device)}.starts_with("loop")) {
      examined.verdict = "skipped";
      examined.reason = "loop devices are no disks";
   } else {
      explain(examined, device, rules, fruConfig);
   }
   return examined;
}

}  // namespace

Examination examineDevices(Pelm::Ptr<FruConfig const> const & fruConfig) {
   Examination result;
   result.errors = applianceErrors(fruConfig->etcDir());
   result.blockdevReadable = std::ifstream{fruConfig->etcDir().str() + "/blockdev"}.good();
   ApplianceRules const rules = readApplianceRules(fruConfig->etcDir(), traceHandle);
   result.blockdevEntries = rules.etcBlockDev.size();
   UdevPtr const context{udev_new()};
   UdevEnumeratePtr const scan{context ? udev_enumerate_new(context.get()) : nullptr};
   if (!scan || udev_enumerate_add_match_subsystem(scan.get(), "block") < 0 ||
       udev_enumerate_add_match_property(scan.get(), "DEVTYPE", "disk") < 0 ||
       udev_enumerate_scan_devices(scan.get()) < 0)
      return result;
   result.udevAvailable = true;
   for (udev_list_entry * entry = udev_enumerate_get_list_entry(scan.get()); entry;
        entry = udev_list_entry_get_next(entry)) {
      UdevDevicePtr const device{
          udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry))};
      if (device)
         result.devices.push_back(examine(device.get(), rules, *fruConfig));
   }
   return result;
}

}  // namespace StorageDevices
