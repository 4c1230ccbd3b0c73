// The smart logs of the unit's NVMe drives, from `nvme smart-log`. Written by the NVMe monitor alone.
#pragma once

#include <cstdint>

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Collection.h"
#include "runtime/model/HealthReading.h"

namespace StorageDevices {

// One value of the SMART / Health Information log page (02h). A counter of the page has 128 bits; one above
// 2^63 - 1 is no whole number here.
struct NvmeAttr {
   Pelm::String name;       // its key in the log; empty: never read
   std::int64_t value = 0;  // 0 also when the log has no whole number at that key

   bool operator==(NvmeAttr const &) const = default;
};

// One drive's values at the last good reading. A reading that fails changes none of them; a good one writes
// all.
class VORN_API DeviceNvmeData : public Pelm::Node {
 public:
   explicit DeviceNvmeData(Pelm::String name);
   ~DeviceNvmeData() override;

   // The drive's serial number, its key.
   Pelm::String const & name() const { return name_; }

   // The fields, with their bytes in the log page (multi-byte values are little-endian). Absent: an empty
   // `name`, since no log was read yet. Counters cover the drive's life.
   using Field = Vorn::Attribute<NvmeAttr, DeviceNvmeData>;
   // Byte 0. Bit 0: spare below its threshold; 1: temperature beyond a threshold; 2: reliability degraded;
   // 3: media read-only; 4: backup of volatile memory failed; 5: persistent memory
   // region unreliable. 0: none.
   Field criticalWarning{*this, "criticalWarning"};
   void criticalWarningIs(NvmeAttr attr);
   // Bytes 1 and 2: composite temperature. Degrees Celsius, from kelvin less 273.
   Field temperatureCelsius{*this, "temperatureCelsius"};
   void temperatureCelsiusIs(NvmeAttr attr);
   // Byte 3. Percent of the spare blocks left, 100 down to 0.
   Field availableSpare{*this, "availableSpare"};
   void availableSpareIs(NvmeAttr attr);
   // Byte 4. Percent: below it the drive sets bit 0 of its warning.
   Field availableSpareThreshold{*this, "availableSpareThreshold"};
   void availableSpareThresholdIs(NvmeAttr attr);
   // Byte 5. Percent of the rated life, as the vendor estimates it: 0 to 255, so it may exceed 100; 255 also
   // stands for more.
   Field percentageUsed{*this, "percentageUsed"};
   void percentageUsedIs(NvmeAttr attr);
   // Bytes 32 to 47. Units of 512,000 bytes, rounded up; without metadata.
   Field dataUnitsRead{*this, "dataUnitsRead"};
   void dataUnitsReadIs(NvmeAttr attr);
   // Bytes 48 to 63. Units of 512,000 bytes, rounded up; without metadata.
   Field dataUnitsWritten{*this, "dataUnitsWritten"};
   void dataUnitsWrittenIs(NvmeAttr attr);
   // Bytes 64 to 79. Commands completed.
   Field hostReadCommands{*this, "hostReadCommands"};
   void hostReadCommandsIs(NvmeAttr attr);
   // Bytes 80 to 95. Commands completed.
   Field hostWriteCommands{*this, "hostWriteCommands"};
   void hostWriteCommandsIs(NvmeAttr attr);
   // Bytes 96 to 111. Minutes with I/O commands in progress.
   Field controllerBusyTime{*this, "controllerBusyTime"};
   void controllerBusyTimeIs(NvmeAttr attr);
   // Bytes 112 to 127. How often the drive was switched on.
   Field powerCycleCount{*this, "powerCycleCount"};
   void powerCycleCountIs(NvmeAttr attr);
   // Bytes 128 to 143. Hours; some drives leave out time in low-power states.
   Field powerOnHours{*this, "powerOnHours"};
   void powerOnHoursIs(NvmeAttr attr);
   // Bytes 144 to 159. Times that power went without a shutdown.
   Field unsafeShutdowns{*this, "unsafeShutdowns"};
   void unsafeShutdownsIs(NvmeAttr attr);
   // Bytes 160 to 175. Data that the drive found damaged and could not correct.
   Field mediaErrors{*this, "mediaErrors"};
   void mediaErrorsIs(NvmeAttr attr);
   // Bytes 176 to 191. Entries of the error log in the drive's life. Refused commands count too.
   Field numErrLogEntries{*this, "numErrLogEntries"};
   void numErrLogEntriesIs(NvmeAttr attr);
   // Bytes 192 to 195. Minutes at or above the warning temperature and below the critical one; 0 also where
   // the drive has no such threshold.
   Field temperatureTimeWarning{*this, "temperatureTimeWarning"};
   void temperatureTimeWarningIs(NvmeAttr attr);
   // Bytes 196 to 199. Minutes at or above the critical temperature; 0 also where the drive has none.
   Field temperatureTimeCritical{*this, "temperatureTimeCritical"};
   void temperatureTimeCriticalIs(NvmeAttr attr);

   // How the readings of this record go; not an attribute, so it notifies nobody. A reading counts as failed
   // where the run fails, or prints no JSON object.
   HealthReading reading{"nvme"};

 private:
   Pelm::String name_;
};

// A field, its key in the log, and the function that writes it. Every field stands in the table once. A key
// that the log lacks, or whose value is no whole number, is traced and stored as 0.
struct NvmeField {
   char const * key;
   DeviceNvmeData::Field DeviceNvmeData::*cell;
   void (DeviceNvmeData::*set)(NvmeAttr);
};

inline constexpr NvmeField nvmeFields[] = {
    {"critical_warning", &DeviceNvmeData::criticalWarning, &DeviceNvmeData::criticalWarningIs},
    {"temperature", &DeviceNvmeData::temperatureCelsius, &DeviceNvmeData::temperatureCelsiusIs},
    {"avail_spare", &DeviceNvmeData::availableSpare, &DeviceNvmeData::availableSpareIs},
    {"spare_thresh", &DeviceNvmeData::availableSpareThreshold, &DeviceNvmeData::availableSpareThresholdIs},
    {"percent_used", &DeviceNvmeData::percentageUsed, &DeviceNvmeData::percentageUsedIs},
    {"data_units_read", &DeviceNvmeData::dataUnitsRead, &DeviceNvmeData::dataUnitsReadIs},
    {"data_units_written", &DeviceNvmeData::dataUnitsWritten, &DeviceNvmeData::dataUnitsWrittenIs},
    {"host_read_commands", &DeviceNvmeData::hostReadCommands, &DeviceNvmeData::hostReadCommandsIs},
    {"host_write_commands", &DeviceNvmeData::hostWriteCommands, &DeviceNvmeData::hostWriteCommandsIs},
    {"controller_busy_time", &DeviceNvmeData::controllerBusyTime, &DeviceNvmeData::controllerBusyTimeIs},
    {"power_cycles", &DeviceNvmeData::powerCycleCount, &DeviceNvmeData::powerCycleCountIs},
    {"power_on_hours", &DeviceNvmeData::powerOnHours, &DeviceNvmeData::powerOnHoursIs},
    {"unsafe_shutdowns", &DeviceNvmeData::unsafeShutdowns, &DeviceNvmeData::unsafeShutdownsIs},
    {"media_errors", &DeviceNvmeData::mediaErrors, &DeviceNvmeData::mediaErrorsIs},
    {"num_err_log_entries", &DeviceNvmeData::numErrLogEntries, &DeviceNvmeData::numErrLogEntriesIs},
    {"warning_temp_time", &DeviceNvmeData::temperatureTimeWarning, &DeviceNvmeData::temperatureTimeWarningIs},
    {"critical_comp_time", &DeviceNvmeData::temperatureTimeCritical,
     &DeviceNvmeData::temperatureTimeCriticalIs},
};

// The records of all NVMe drives. A record goes with its drive.
class VORN_API NvmeData : public Pelm::Node {
 public:
   NvmeData();
   ~NvmeData() override;

   // By serial number.
   Vorn::Collection<Pelm::String, Pelm::Ptr<DeviceNvmeData>, NvmeData> deviceData{*this, "deviceData"};

   // Creates the record of a name; an existing one stays.
   void deviceDataIs(Pelm::String const & name);
   void deviceDataDel(Pelm::String const & name);
   void deviceDataDelAll();
};

}  // namespace StorageDevices
