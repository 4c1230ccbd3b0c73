#include "StorageDevices/DiscoveryPreview.h"

#include <cerrno>
#include <functional>

#include "StorageDevices/CDevsUtil.h"
#include "StorageDevices/DeviceClassification.h"
#include "StorageDevices/ExprPattern.h"
#include "StorageDevices/RegularFile.h"
#include "StorageDevices/Shortage.h"
#include "StorageDevices/Udev.h"
#include "runtime/Vorn/Format.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

Vorn::TraceHandle traceHandle{"StorageDiscoveryPreview", true};

char const * collectorText(DeviceClassification::Collector collector) {
   switch (collector) {
      case DeviceClassification::Collector::none:
         return "identified by udev's properties";
      case DeviceClassification::Collector::ssd:
         return "identified by hdparm -I";
      case DeviceClassification::Collector::eusb:
         return "identified by its link under /dev/disk/by-id";
      case DeviceClassification::Collector::nvme:
         return "identified by nvme list";
      case DeviceClassification::Collector::emmc:
         return "identified by its CID register";
   }
   return "";
}

std::string diskText(DeviceClassification const & classification) {
   ConnectedDisk const & disk = *classification.disk;
   std::string const address = disk.deviceIntfAndAddress().str();
   std::string const attached =
       std::string{disk.busType().stringValue().view()} + (address.empty() ? "" : " (" + address + ")");
   return disk.mountPoint().str() + ", " + attached + ", " + std::to_string(disk.sizeGb()) + " GB, " +
          collectorText(classification.collector);
}

void explain(PreviewedDevice & previewed, udev_device * device, ApplianceRules const & rules,
             FruConfig const & fruConfig, Matcher const & matcher) {
   if (!isAddressable(device)) {
      previewed.reason = CDevsUtil::udevSerial(device).empty() ? "udev has no serial number for it"
                                                               : "udev has no device node for it";
      return;
   }
   PathClassification const path = classifyPath(patternPath(device), rules, matcher);
   if (path.shortage != 0) {
      previewed.reason = "expr cannot be started: " + errorAndRemedy(path.shortage);
   } else if (path.kind == PathClassification::Kind::inactive) {
      previewed.reason = "multidrive lists it and it is not the source drive of multidrive_src";
   } else if (path.kind == PathClassification::Kind::unlisted) {
      previewed.reason = "no entry of blockdev matches its path";
   } else {
      DeviceClassification const classification = classify(device, path.mount, fruConfig);
      previewed.outcome = classification.kind == DeviceClassification::Kind::fixed ? "fixed" : "removable";
      previewed.reason = diskText(classification);
      previewed.mountPoint = classification.disk->mountPoint().str();
   }
}

using Explain = std::function<void(PreviewedDevice &, udev_device *)>;

void preview(DiscoveryPreview & result, udev * context, std::vector<std::string> const & sysPaths,
             Explain const & explainDevice) {
   for (std::string const & sysPath : sysPaths) {
      UdevDevicePtr const device{udev_device_new_from_syspath(context, sysPath.c_str())};
      if (!device && isShortage(errno))
         result.devices.push_back({nameIn(sysPath), sysPath, "skipped", errorAndRemedy(errno), {}, {}});
      if (!device)
         continue;
      char const * const node = udev_device_get_devnode(device.get());
      result.devices.push_back({node ? node : nameIn(sysPath),
                                patternPath(device.get()).str(),
                                "skipped",
                                {},
                                CDevsUtil::udevSerial(device.get()).str(),
                                {}});
      explainDevice(result.devices.back(), device.get());
   }
}

}  // namespace

DiscoveryPreview previewDiscovery(Pelm::Ptr<FruConfig const> const & fruConfig) {
   DiscoveryPreview result;
   result.errors = applianceErrors(fruConfig->etcDir());
   FileText const blockdev = readRegularFile(fruConfig->etcDir().str() + "/blockdev", 1);
   result.blockdevReadable = blockdev.openError == 0 && !blockdev.failed();
   ApplianceRules const rules = readApplianceRules(fruConfig->etcDir(), traceHandle);
   result.blockdevEntries = rules.etcBlockDev.size();
   UdevPtr const context{udev_new()};
   DiskList const disks = context ? listDisks(context.get()) : DiskList{{}, {}, errno};
   result.udevAvailable = disks.error == 0;
   if (!result.udevAvailable)
      result.udevError = errorAndRemedy(disks.error);
   // Every pattern is matched with every device; most patterns need no process.
   ExprPatterns patterns;
   Matcher const matcher = [&](char const * path, char const * pattern) {
      return patterns.ask(path, pattern);
   };
   preview(result, context.get(), disks.sysPaths, [&](PreviewedDevice & previewed, udev_device * device) {
      explain(previewed, device, rules, *fruConfig, matcher);
   });
   preview(result, context.get(), disks.loopPaths, [](PreviewedDevice & previewed, udev_device *) {
      previewed.reason = "loop devices are no disks";
   });
   return result;
}

}  // namespace StorageDevices
