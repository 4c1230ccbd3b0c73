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

bool isRead(ConnectedDisk const & disk) {
   return disk.busType() != ConnectedDisk::BusType::other;
}

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
    : DataMonitorSm{std::move(pollInterval), std::move(devices)},
      data_{std::move(data)},
      tracker_{std::move(tracker)} {
   typeStrIs("Smart");
}

void SmartDataMonitorSm::handleDisk(Pelm::String const & name) {
   Pelm::Ptr<ConnectedDisk const> const disk = devices()->disk(name);
   if (disk) {
      if (!isRead(*disk))
         return;
      if (!smartDbMapping.contains(name))
         smartDbMappingIs(name, findDeviceMapping(disk->model()));
   }
   DataMonitorSm::handleDisk(name);
}

bool SmartDataMonitorSm::isInData(Pelm::String const & name) const {
   return data_->deviceData.contains(name);
}

void SmartDataMonitorSm::addToData(Pelm::String const & name) {
   data_->deviceDataIs(name);
}

void SmartDataMonitorSm::removeFromData(Pelm::String const & name) {
   smartctlProcessDel(name);
   smartDbMappingDel(name);
   data_->deviceDataDel(name);
}

void SmartDataMonitorSm::forEach(DeviceCallback callback) {
   for (auto const & [name, record] : data_->deviceData)
      callback(*this, name);
}

void SmartDataMonitorSm::updateDevice(Pelm::String const & name) {
   Pelm::Ptr<ConnectedDisk const> const disk = devices()->disk(name);
   if (!disk || !isRead(*disk))
      return;
   smartctlProcessIs(tracker_, name)
       ->run(disk->blockDevice(), disk->busType() == ConnectedDisk::BusType::usb);
}

void SmartDataMonitorSm::handleSmartctlState(Pelm::String const & name) {
   Pelm::Ptr<SmartctlProcess> const process = smartctlProcess(name);
   if (!process || !process->isOver())
      return;
   smartctlProcessDel(process->device());
   auto const document = toolDocument(*process, traceHandle, handleSmartctlStateName, "smartctl");
   Pelm::Ptr<DeviceSmartData> const record = data_->deviceData(process->device());
   if (!document || !record)
      return;
   fileDocument(traceHandle, handleSmartctlStateName,
                [&] { parse(*document, *record, process->devicePath()); });
}

void SmartDataMonitorSm::parse(JsonDocument const & document, DeviceSmartData & record,
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
   if (hasVerdict || table)
      record.reading.countInc();
}

Pelm::Ptr<SmartctlProcess> SmartDataMonitorSm::smartctlProcessIs(
    Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker, Pelm::String const & device) {
   Pelm::Ptr<SmartctlProcess> process = smartctlProcess(device);
   if (!process) {
      process = Pelm::make<SmartctlProcess>(tracker, device);
      smartctlProcess.memberIs(device, process);
   }
   smartctlReactorIs(process);
   return process;
}

void SmartDataMonitorSm::smartctlProcessDel(Pelm::String const & device) {
   smartctlReactorDel(device);
   smartctlProcess.memberDel(device);
}

void SmartDataMonitorSm::smartctlProcessDelAll() {
   smartctlReactorDelAll();
   smartctlProcess.memberDelAll();
}

void SmartDataMonitorSm::smartctlReactorIs(Pelm::Ptr<SmartctlProcess> const & process) {
   Pelm::String const & device = process->device();
   if (!smartctlReactor.contains(device))
      smartctlReactor.memberIs(device,
                               Pelm::make<NestedSm_SmartctlReactor>(*this, device, process->sm()->state));
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
