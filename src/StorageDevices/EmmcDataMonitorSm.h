// Polls the health registers of eMMC devices into `EmmcData`.
#pragma once

#include <fstream>
#include <string>
#include <utility>

#include "StorageDevices/DataMonitorSm.h"
#include "StorageDevices/Export.h"
#include "runtime/model/EmmcData.h"

namespace StorageDevices {

// The health registers of an eMMC device, which the kernel publishes in sysfs.
class STORAGEDEVICES_API EmmcDataAccess {
 public:
   // False, and a trace, when the file cannot be opened.
   static bool safeOpenFilestream(std::ifstream & stream, std::string const & path);

   // Reads the files "life_time" (two hexadecimal bytes, type A and B) and "pre_eol_info" (one) of the
   // directory. False, and nothing stored, unless all three were read.
   static bool getEmmcAttrs(std::string const & baseDir, DeviceEmmcData & deviceData);
};

class STORAGEDEVICES_API EmmcDataMonitorSm final : public DataMonitorSm {
 public:
   EmmcDataMonitorSm(Pelm::Ptr<PollInterval const> pollInterval, Pelm::Ptr<ConnectedDevices const> devices,
                     Pelm::Ptr<EmmcData> data);

   // Ignores disks of every other bus.
   void handleDisk(Pelm::String const & serial) override;
   bool isInData(Pelm::String const & serial) const override;
   void addToData(Pelm::String const & serial) override;
   void removeFromData(Pelm::String const & serial) override;
   void forEach(DeviceCallback callback) override;
   void updateDevice(Pelm::String const & serial) override;

   Pelm::Ptr<EmmcData> const & data() const { return data_; }

   // The folder of a block device's registers; "%s" stands for the device's name.
   Vorn::Attribute<Pelm::String, EmmcDataMonitorSm> emmcBaseDir{*this, "emmcBaseDir", "/sys/block/%s/device"};
   void emmcBaseDirIs(Pelm::String value) { emmcBaseDir.valueIs(std::move(value)); }

 private:
   Pelm::Ptr<EmmcData> data_;
};

}  // namespace StorageDevices
