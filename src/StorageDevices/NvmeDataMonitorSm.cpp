#include "StorageDevices/NvmeDataMonitorSm.h"

#include <rapidjson/document.h>

#include <optional>
#include <utility>

#include "StorageDevices/Factories.h"
#include "StorageDevices/JsonDocument.h"
#include "StorageDevices/NvmeSmartLog.h"
#include "StorageDevices/ToolDocument.h"
#include "runtime/Vorn/Machine.h"

namespace StorageDevices {

namespace {

// Support greps for this text; it does not follow the compiler's spelling of signatures.
constexpr char handleNvmeCliStateName[] =
    "void StorageDevices::NvmeDataMonitorSm::handleNvmeCliState(const String&)";

bool isRead(ConnectedDisk const & disk) {
   return disk.busType() == ConnectedDisk::BusType::nvme;
}

}  // namespace

void NvmeCliProcess::run(Pelm::String const & devicePath) {
   start(devicePath, {"nvme", "smart-log", "--output-format=json", devicePath});
}

NvmeDataMonitorSm::NvmeDataMonitorSm(Pelm::Ptr<PollInterval const> pollInterval,
                                     Pelm::Ptr<ConnectedDevices const> devices, Pelm::Ptr<NvmeData> data,
                                     Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker)
    : DataMonitorSm{std::move(pollInterval), std::move(devices)},
      data_{std::move(data)},
      tracker_{std::move(tracker)} {
   typeStrIs("Nvme");
}

void NvmeDataMonitorSm::handleDisk(Pelm::String const & name) {
   Pelm::Ptr<ConnectedDisk const> const disk = devices()->disk(name);
   if (!disk || isRead(*disk))
      DataMonitorSm::handleDisk(name);
}

bool NvmeDataMonitorSm::isInData(Pelm::String const & name) const {
   return data_->deviceData.contains(name);
}

void NvmeDataMonitorSm::addToData(Pelm::String const & name) {
   data_->deviceDataIs(name);
}

void NvmeDataMonitorSm::removeFromData(Pelm::String const & name) {
   nvmeCliProcessDel(name);
   data_->deviceDataDel(name);
}

void NvmeDataMonitorSm::forEach(DeviceCallback callback) {
   for (auto const & [name, record] : data_->deviceData)
      callback(*this, name);
}

void NvmeDataMonitorSm::updateDevice(Pelm::String const & name) {
   Pelm::Ptr<ConnectedDisk const> const disk = devices()->disk(name);
   if (disk && isRead(*disk))
      nvmeCliProcessIs(tracker_, name)->run(disk->blockDevice());
}

void NvmeDataMonitorSm::handleNvmeCliState(Pelm::String const & name) {
   Pelm::Ptr<NvmeCliProcess> const process = nvmeCliProcess(name);
   if (!process || !process->isOver())
      return;
   nvmeCliProcessDel(process->device());
   auto const document = toolDocument(*process, nvmeTraceHandle, handleNvmeCliStateName, "nvme-cli");
   if (!document)
      return;
   if (!document->root().IsObject()) {
      traceJsonError(nvmeTraceHandle, handleNvmeCliStateName, "Unspecific syntax error.");
      return;
   }
   Pelm::Ptr<DeviceNvmeData> const record = data_->deviceData(process->device());
   if (!record)
      return;
   fileDocument(nvmeTraceHandle, handleNvmeCliStateName, [&] {
      parseAndInsertNvmeAttrs(document->root(), *record);
      record->reading.countInc();
   });
}

Pelm::Ptr<NvmeCliProcess> NvmeDataMonitorSm::nvmeCliProcessIs(
    Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker, Pelm::String const & device) {
   Pelm::Ptr<NvmeCliProcess> process = nvmeCliProcess(device);
   if (!process) {
      process = Pelm::make<NvmeCliProcess>(tracker, device);
      nvmeCliProcess.memberIs(device, process);
   }
   nvmeCliReactorIs(process);
   return process;
}

void NvmeDataMonitorSm::nvmeCliProcessDel(Pelm::String const & device) {
   nvmeCliReactorDel(device);
   nvmeCliProcess.memberDel(device);
}

void NvmeDataMonitorSm::nvmeCliProcessDelAll() {
   nvmeCliReactorDelAll();
   nvmeCliProcess.memberDelAll();
}

void NvmeDataMonitorSm::nvmeCliReactorIs(Pelm::Ptr<NvmeCliProcess> const & process) {
   Pelm::String const & device = process->device();
   if (!nvmeCliReactor.contains(device))
      nvmeCliReactor.memberIs(device,
                              Pelm::make<NestedSm_NvmeCliReactor>(*this, device, process->sm()->state));
}

Pelm::Ptr<NvmeDataMonitorSm> NvmeDataMonitorSmIs(Pelm::Ptr<PollInterval const> const & pollInterval,
                                                 Pelm::Ptr<ConnectedDevices const> const & devices,
                                                 Pelm::Ptr<NvmeData> const & data,
                                                 Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker) {
   return Vorn::makeMachine<NvmeDataMonitorSm>(pollInterval, devices, data, tracker);
}

Pelm::Ptr<NvmeDataMonitorSm> nvmeDataMonitorSmFactory(
    Pelm::Ptr<PollInterval const> const & pollInterval, Pelm::Ptr<ConnectedDevices const> const & devices,
    Pelm::Ptr<NvmeData> const & data, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker) {
   return NvmeDataMonitorSmIs(pollInterval, devices, data, tracker);
}

}  // namespace StorageDevices
