#include "StorageDevices/ApplianceRules.h"

#include <fstream>

#include "StorageDevices/ApplianceFiles.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

void readEtcBlockdev(ApplianceRules & rules, std::ifstream file, Vorn::TraceHandle const & traceHandle) {
   if (!file) {
      VORN_TRACE(traceHandle, 0) << " could not open /etc/blockdev";
      return;
   }
   BlockdevFile const blockdev = readBlockdev(file);
   for (auto const & entry : blockdev.entries) {
      if (entry.whiteboxModified)
         VORN_TRACE(traceHandle, 2) << " Whitebox entry detected; modifying";
      VORN_TRACE(traceHandle, 2) << " /etc/blockdev entry: " << entry.pattern << " " << entry.mount;
      rules.etcBlockDev.push_back({Pelm::String{entry.pattern}, Pelm::String{entry.mount}});
   }
   if (blockdev.readError)
      VORN_TRACE(traceHandle, 0) << " error while reading /etc/blockdev";
}

void readEtcMultidrive(ApplianceRules & rules, std::ifstream file, Vorn::TraceHandle const & traceHandle) {
   if (!file)
      return;
   MultidriveFile const multidrive = readMultidrive(file);
   for (std::string const & pattern : multidrive.patterns) {
      VORN_TRACE(traceHandle, 2) << " /etc/multidrive entry: " << pattern;
      rules.etcMultidrive.emplace_back(pattern);
   }
   if (multidrive.readError)
      VORN_TRACE(traceHandle, 0) << " error while reading /etc/multidrive";
}

void readEtcMultidriveSrc(ApplianceRules & rules, std::ifstream file, Vorn::TraceHandle const & traceHandle) {
   if (!file)
      return;
   MultidriveSrcFile const source = readMultidriveSrc(file);
   if (source.pattern) {
      VORN_TRACE(traceHandle, 2) << " /etc/multidrive_src: " << *source.pattern;
      rules.multidriveSrc = Pelm::String{*source.pattern};
   }
   if (source.readError)
      VORN_TRACE(traceHandle, 0) << " error while reading /etc/multidrive_src";
}

}  // namespace

ApplianceRules readApplianceRules(Pelm::String const & etcDir, Vorn::TraceHandle const & traceHandle) {
   ApplianceRules rules;
   readEtcBlockdev(rules, std::ifstream{etcDir.str() + "/blockdev"}, traceHandle);
   readEtcMultidrive(rules, std::ifstream{etcDir.str() + "/multidrive"}, traceHandle);
   readEtcMultidriveSrc(rules, std::ifstream{etcDir.str() + "/multidrive_src"}, traceHandle);
   return rules;
}

}  // namespace StorageDevices
