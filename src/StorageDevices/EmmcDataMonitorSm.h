// Polls the health registers of eMMC devices into `EmmcData`, two small files of sysfs per device and poll.
// When and for which devices: DataMonitorSm.h.
#pragma once

#include <fstream>
#include <string>
#include <utility>

#include "StorageDevices/Export.h"
#include "StorageDevices/RecordMonitorSm.h"
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

class STORAGEDEVICES_API EmmcDataMonitorSm final : public RecordMonitorSm<EmmcData> {
 public:
   EmmcDataMonitorSm(Pelm::Ptr<PollInterval const> pollInterval, Pelm::Ptr<ConnectedDevices const> devices,
                     Pelm::Ptr<EmmcData> data);

   // Reads the registers at once. A failure changes none, and is recorded in `DeviceEmmcData::reading`.
   void updateDevice(Pelm::String const & serial) override;

   // The folder of a block device's registers; the first "%s" stands for the device's name.
   Vorn::Attribute<Pelm::String, EmmcDataMonitorSm> emmcBaseDir{*this, "emmcBaseDir", "/sys/block/%s/device"};
   void emmcBaseDirIs(Pelm::String value) { emmcBaseDir.valueIs(std::move(value)); }

 private:
   bool isRead(ConnectedDisk const & disk) const override;
};

}  // namespace StorageDevices
