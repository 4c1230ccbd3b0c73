#include "StorageDevices/NvmeDiskInfoCollectorSm.h"

#include <utility>

#include "StorageDevices/NvmeList.h"
#include "runtime/Vorn/Machine.h"

namespace StorageDevices {

namespace {

// Support greps for these texts; they do not follow the compiler's spelling of signatures.
constexpr char nvmeFailure[] = "void StorageDevices::NvmeDiskInfoCollectorSm::handleNvmeCli() nvme failed";
constexpr char nvmeParseOutputName[] = "void StorageDevices::NvmeDiskInfoCollectorSm::parseOutput()";

// The spelling NMVe is part of these messages.
void traceFailedFields(Vorn::TraceHandle const & collectorTrace, NvmeListDevice const & found) {
   struct {
      bool failed;
      char const * message;
   } const fields[] = {{found.modelFailed, " error parsing NMVe model number"},
                       {found.serialFailed, " error parsing NMVe serial number"},
                       {found.firmwareFailed, " error parsing NMVe firmware revision"},
                       {found.sizeFailed, " error parsing NMVe size"}};
   for (auto const & field : fields)
      if (field.failed)
         VORN_TRACE(collectorTrace, 0) << nvmeParseOutputName << field.message;
}

void traceUnusable(Vorn::TraceHandle const & collectorTrace, NvmeList const & list) {
   switch (list.outcome) {
      case NvmeList::Outcome::device:
         break;
      case NvmeList::Outcome::jsonError:
         VORN_TRACE(collectorTrace, 0) << nvmeParseOutputName << " JSON parsing error: " << list.jsonError;
         break;
      case NvmeList::Outcome::malformedRoot:
         VORN_TRACE(collectorTrace, 0) << nvmeParseOutputName << " malformed output from nvme";
         break;
      case NvmeList::Outcome::noDevices:
         VORN_TRACE(collectorTrace, 0) << nvmeParseOutputName << " \"Devices\" not found in output";
         break;
      case NvmeList::Outcome::malformedList:
         VORN_TRACE(collectorTrace, 0) << nvmeParseOutputName << " \"Devices\" list is malformed";
         break;
   }
}

}  // namespace

NvmeDiskInfoCollectorSm::NvmeDiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> disk,
                                                 Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker)
    : ToolDiskInfoCollectorSm{std::move(disk), std::move(tracker), nvmeFailure} {}

void NvmeDiskInfoCollectorSm::handleInitialized() {
   start({"nvme", "list", "-o", "json", device()->blockDevice()});
}

void NvmeDiskInfoCollectorSm::parseOutput() {
   if (!run())
      return;
   // As a C string: the output ends at its first NUL.
   char const * const output = run()->stdoutBuffer().c_str();
   VORN_TRACE(collectorTrace, 7) << nvmeParseOutputName << "Parsing for " << device()->blockDevice();
   VORN_TRACE(collectorTrace, 7) << nvmeParseOutputName << output;
   NvmeList const list = readNvmeList(output, device()->blockDevice().view());
   if (list.outcome != NvmeList::Outcome::device) {
      traceUnusable(collectorTrace, list);
      finalizeUnchanged();
      return;
   }
   NvmeListDevice const & found = list.device;
   traceFailedFields(collectorTrace, found);
   finalize(Pelm::String{found.serial}, Pelm::String{found.model}, Pelm::String{found.firmware},
            found.sizeGb);
}

Pelm::Ptr<DiskInfoCollectorSm> NvmeDiskInfoCollectorSmIs(
    Pelm::Ptr<ConnectedDisk const> const & disk, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker) {
   return Vorn::makeMachine<NvmeDiskInfoCollectorSm>(disk, tracker);
}

}  // namespace StorageDevices
