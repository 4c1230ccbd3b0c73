// The smart logs of the unit's NVMe drives. Written by the NVMe monitor alone.
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

// One value of the log.
struct NvmeAttr {
   Pelm::String name;       // its key in the log; empty: never read
   std::int64_t value = 0;  // 0 also when the log has no whole number at that key

   bool operator==(NvmeAttr const &) const = default;
};

// One drive's values at the last good reading.
class RUNTIME_API DeviceNvmeData : public Pelm::Node {
 public:
   explicit DeviceNvmeData(Pelm::String name);
   ~DeviceNvmeData() override;

   // The drive's serial number, its key.
   Pelm::String const & name() const { return name_; }

   using Field = Vorn::Attribute<NvmeAttr, DeviceNvmeData>;
   // Alarm bits; 0: none.
   Field criticalWarning{*this, "criticalWarning"};
   void criticalWarningIs(NvmeAttr attr);
   // Degrees Celsius; the log has kelvin.
   Field temperatureCelsius{*this, "temperatureCelsius"};
   void temperatureCelsiusIs(NvmeAttr attr);
   // Percent.
   Field availableSpare{*this, "availableSpare"};
   void availableSpareIs(NvmeAttr attr);
   // Percent.
   Field availableSpareThreshold{*this, "availableSpareThreshold"};
   void availableSpareThresholdIs(NvmeAttr attr);
   // Percent of the rated life; may exceed 100.
   Field percentageUsed{*this, "percentageUsed"};
   void percentageUsedIs(NvmeAttr attr);
   // Units of 512,000 bytes.
   Field dataUnitsRead{*this, "dataUnitsRead"};
   void dataUnitsReadIs(NvmeAttr attr);
   // Units of 512,000 bytes.
   Field dataUnitsWritten{*this, "dataUnitsWritten"};
   void dataUnitsWrittenIs(NvmeAttr attr);
   Field hostReadCommands{*this, "hostReadCommands"};
   void hostReadCommandsIs(NvmeAttr attr);
   Field hostWriteCommands{*this, "hostWriteCommands"};
   void hostWriteCommandsIs(NvmeAttr attr);
   // Minutes.
   Field controllerBusyTime{*this, "controllerBusyTime"};
   void controllerBusyTimeIs(NvmeAttr attr);
   Field powerCycleCount{*this, "powerCycleCount"};
   void powerCycleCountIs(NvmeAttr attr);
   Field powerOnHours{*this, "powerOnHours"};
   void powerOnHoursIs(NvmeAttr attr);
   Field unsafeShutdowns{*this, "unsafeShutdowns"};
   void unsafeShutdownsIs(NvmeAttr attr);
   Field mediaErrors{*this, "mediaErrors"};
   void mediaErrorsIs(NvmeAttr attr);
   Field numErrLogEntries{*this, "numErrLogEntries"};
   void numErrLogEntriesIs(NvmeAttr attr);
   // Minutes above the warning temperature.
   Field temperatureTimeWarning{*this, "temperatureTimeWarning"};
   void temperatureTimeWarningIs(NvmeAttr attr);
   // Minutes above the critical temperature.
   Field temperatureTimeCritical{*this, "temperatureTimeCritical"};
   void temperatureTimeCriticalIs(NvmeAttr attr);

   HealthReading reading{"nvme"};

 private:
   Pelm::String name_;
};

// A field, its key in the log, and the function that writes it.
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

class RUNTIME_API NvmeData : public Pelm::Node {
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
