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

}  // namespace

void NvmeCliProcess::run(Pelm::String const & devicePath) {
   start(devicePath, {"nvme", "smart-log", "--output-format=json", devicePath});
}

NvmeDataMonitorSm::NvmeDataMonitorSm(Pelm::Ptr<PollInterval const> pollInterval,
                                     Pelm::Ptr<ConnectedDevices const> devices, Pelm::Ptr<NvmeData> data,
                                     Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker)
    : ToolMonitorSm{std::move(pollInterval), std::move(devices), std::move(data),
                    std::move(tracker),      "nvmeCliProcess",   "nvmeCliReactor"} {
   typeStrIs("Nvme");
}

bool NvmeDataMonitorSm::isRead(ConnectedDisk const & disk) const {
   return disk.busType() == ConnectedDisk::BusType::nvme;
}

void NvmeDataMonitorSm::updateDevice(Pelm::String const & name) {
   if (Pelm::Ptr<ConnectedDisk const> const disk = readDisk(name))
      runIs(tracker(), name)->run(disk->blockDevice());
}

void NvmeDataMonitorSm::handleRun(Pelm::String const & name) {
   Pelm::Ptr<NvmeCliProcess> const process = takeRun(name);
   if (!process)
      return;
   ToolTraces const traces{nvmeTraceHandle, handleNvmeCliStateName, "nvme-cli"};
   fileRun(*process, data()->deviceData(process->device()), traces,
           [&](JsonDocument const & document, DeviceNvmeData & record) {
              if (!document.root().IsObject()) {
                 traces.jsonError("Unspecific syntax error.");
                 return false;
              }
              parseAndInsertNvmeAttrs(document.root(), record);
              return true;
           });
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
