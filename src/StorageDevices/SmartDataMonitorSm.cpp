#include "StorageDevices/SmartDataMonitorSm.h"

#include <utility>

#include "StorageDevices/Factories.h"
#include "StorageDevices/JsonDocument.h"
#include "StorageDevices/SmartAttributes.h"
#include "StorageDevices/ToolDocument.h"
#include "runtime/Vorn/Machine.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

Vorn::TraceHandle traceHandle{"StorageSmartDataMonitorSm", true};

// Support greps for this text; it does not follow the compiler's spelling of signatures.
constexpr char handleSmartctlStateName[] =
    "void StorageDevices::SmartDataMonitorSm::handleSmartctlState(const String&)";

}  // namespace

void SmartctlProcess::run(Pelm::String const & devicePath, bool scsi) {
   if (scsi)
      start(devicePath, {"smartctl", "--json=c", "--offlineauto=on", "-HA", "-d", "scsi", devicePath});
   else
      start(devicePath, {"smartctl", "--json=c", "--offlineauto=on", "-HA", devicePath});
}

SmartDataMonitorSm::SmartDataMonitorSm(Pelm::Ptr<PollInterval const> pollInterval,
                                       Pelm::Ptr<ConnectedDevices const> devices, Pelm::Ptr<SmartData> data,
                                       Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker)
    : ToolMonitorSm{std::move(pollInterval), std::move(devices), std::move(data),
                    std::move(tracker),      "smartctlProcess",  "smartctlReactor"} {
   typeStrIs("Smart");
}

bool SmartDataMonitorSm::isRead(ConnectedDisk const & disk) const {
   return disk.busType() != ConnectedDisk::BusType::other;
}

void SmartDataMonitorSm::handleDisk(Pelm::String const & name) {
   Pelm::Ptr<ConnectedDisk const> const disk = readDisk(name);
   if (disk && !smartDbMapping.contains(name))
      smartDbMappingIs(name, findDeviceMapping(disk->model()));
   ToolMonitorSm::handleDisk(name);
}

void SmartDataMonitorSm::removeFromData(Pelm::String const & name) {
   smartDbMappingDel(name);
   ToolMonitorSm::removeFromData(name);
}

void SmartDataMonitorSm::updateDevice(Pelm::String const & name) {
   if (Pelm::Ptr<ConnectedDisk const> const disk = readDisk(name))
      runIs(tracker(), name)->run(disk->blockDevice(), disk->busType() == ConnectedDisk::BusType::usb);
}

void SmartDataMonitorSm::handleRun(Pelm::String const & name) {
   Pelm::Ptr<SmartctlProcess> const process = takeRun(name);
   if (!process)
      return;
   fileRun(*process, data()->deviceData(process->device()),
           {traceHandle, handleSmartctlStateName, "smartctl"},
           [&](JsonDocument const & document, DeviceSmartData & record) {
              return parse(document, record, process->devicePath());
           });
}

bool SmartDataMonitorSm::parse(JsonDocument const & document, DeviceSmartData & record,
                               Pelm::String const & devicePath) {
   JsonValue const * const table = smartAttrsTable(document.root());
   // Parsed into a scratch record first: subscribers see no empty record, and no half of a table for which
   // memory ends.
   auto const scratch = Pelm::make<DeviceSmartData>(record.name());
   if (table)
      parseSmartAttrs(*table, *scratch, smartDbMapping(record.name()).value_or(DriveSmartMapping{}));
   bool const hasVerdict = parseHealthStatus(document.root(), record);
   if (!hasVerdict)
      VORN_TRACE(traceHandle, 0) << handleSmartctlStateName << " Could not obtain health status for "
                                 << devicePath;
   if (table)
      attrsIs(record, *scratch);
   else
      VORN_TRACE(traceHandle, 2) << handleSmartctlStateName << " Could not obtain SMART attributes for "
                                 << devicePath;
   return hasVerdict || table;
}

Pelm::Ptr<SmartDataMonitorSm> SmartDataMonitorSmIs(Pelm::Ptr<PollInterval const> const & pollInterval,
                                                   Pelm::Ptr<ConnectedDevices const> const & devices,
                                                   Pelm::Ptr<SmartData> const & data,
                                                   Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker) {
   return Vorn::makeMachine<SmartDataMonitorSm>(pollInterval, devices, data, tracker);
}

Pelm::Ptr<SmartDataMonitorSm> smartDataMonitorSmFactory(
    Pelm::Ptr<PollInterval const> const & pollInterval, Pelm::Ptr<ConnectedDevices const> const & devices,
    Pelm::Ptr<SmartData> const & data, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker) {
   return SmartDataMonitorSmIs(pollInterval, devices, data, tracker);
}

}  // namespace StorageDevices
