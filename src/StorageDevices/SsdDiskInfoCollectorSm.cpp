#include "StorageDevices/SsdDiskInfoCollectorSm.h"

#include <utility>

#include "StorageDevices/HdparmReport.h"
#include "runtime/Vorn/Machine.h"

namespace StorageDevices {

namespace {

// Support greps for these texts; they do not follow the compiler's spelling of signatures.
constexpr char ssdFailure[] = "void StorageDevices::SsdDiskInfoCollectorSm::handleHdparm() hdparm failed";
constexpr char ssdParseOutputName[] = "void StorageDevices::SsdDiskInfoCollectorSm::parseOutput()";

}  // namespace

SsdDiskInfoCollectorSm::SsdDiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> disk,
                                               Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker)
    : ToolDiskInfoCollectorSm{std::move(disk), std::move(tracker), ssdFailure} {}

void SsdDiskInfoCollectorSm::handleInitialized() {
   start({"hdparm", "-I", device()->blockDevice()});
}

void SsdDiskInfoCollectorSm::parseOutput() {
   if (!run())
      return;
   std::string_view const report = run()->stdoutBuffer();
   auto const identity = findIdentity(report);
   auto const sizeText = findSizeGb(report);
   if (!identity || !sizeText) {
      VORN_TRACE(collectorTrace, 0) << ssdParseOutputName << " hdparm output did not match expected";
      finalizeUnchanged();
      return;
   }
   auto const size = parseSizeGb(*sizeText);
   if (!size)
      VORN_TRACE(collectorTrace, 0) << ssdParseOutputName << " could not parse size from hdparm";
   finalize(strippedMatch(identity->serial), strippedMatch(identity->model),
            strippedMatch(identity->firmware), size.value_or(device()->sizeGb()));
}

Pelm::Ptr<DiskInfoCollectorSm> SsdDiskInfoCollectorSmIs(
    Pelm::Ptr<ConnectedDisk const> const & disk, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker) {
   return Vorn::makeMachine<SsdDiskInfoCollectorSm>(disk, tracker);
}

}  // namespace StorageDevices
