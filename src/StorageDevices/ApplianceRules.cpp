#include "StorageDevices/ApplianceRules.h"

#include <sstream>

#include "StorageDevices/ApplianceFiles.h"
#include "StorageDevices/RegularFile.h"
#include "StorageDevices/Shortage.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

FileText openFile(ApplianceRules & rules, Pelm::String const & etcDir, char const * name) {
   FileText file = readRegularFile(etcDir.str() + "/" + name, ApplianceFileBounds::fileBytes + 1);
   if (isShortage(file.openError))
      rules.shortage = file.openError;
   return file;
}

void readEtcBlockdev(ApplianceRules & rules, FileText const & file, Vorn::TraceHandle const & traceHandle) {
   if (file.openError != 0) {
      VORN_TRACE(traceHandle, 0) << " could not open /etc/blockdev";
      return;
   }
   std::istringstream text{file.text};
   BlockdevFile const blockdev = readBlockdev(text);
   for (auto const & entry : blockdev.entries) {
      if (entry.whiteboxModified)
         VORN_TRACE(traceHandle, 2) << " Whitebox entry detected; modifying";
      VORN_TRACE(traceHandle, 2) << " /etc/blockdev entry: " << entry.pattern << " " << entry.mount;
      rules.etcBlockDev.push_back({Pelm::String{entry.pattern}, Pelm::String{entry.mount}});
   }
   if (blockdev.readError || file.failed())
      VORN_TRACE(traceHandle, 0) << " error while reading /etc/blockdev";
}

void readEtcMultidrive(ApplianceRules & rules, FileText const & file, Vorn::TraceHandle const & traceHandle) {
   if (file.openError != 0)
      return;
   std::istringstream text{file.text};
   MultidriveFile const multidrive = readMultidrive(text);
   for (std::string const & pattern : multidrive.patterns) {
      VORN_TRACE(traceHandle, 2) << " /etc/multidrive entry: " << pattern;
      rules.etcMultidrive.emplace_back(pattern);
   }
   if (multidrive.readError || file.failed())
      VORN_TRACE(traceHandle, 0) << " error while reading /etc/multidrive";
}

void readEtcMultidriveSrc(ApplianceRules & rules, FileText const & file,
                          Vorn::TraceHandle const & traceHandle) {
   if (file.openError != 0)
      return;
   std::istringstream text{file.text};
   MultidriveSrcFile const source = readMultidriveSrc(text);
   if (source.pattern) {
      VORN_TRACE(traceHandle, 2) << " /etc/multidrive_src: " << *source.pattern;
      rules.multidriveSrc = Pelm::String{*source.pattern};
   }
   // Words behind the first are ignored.
   if (source.readError || (!source.pattern && file.failed()))
      VORN_TRACE(traceHandle, 0) << " error while reading /etc/multidrive_src";
}

}  // namespace

ApplianceRules readApplianceRules(Pelm::String const & etcDir, Vorn::TraceHandle const & traceHandle) {
   ApplianceRules rules;
   readEtcBlockdev(rules, openFile(rules, etcDir, "blockdev"), traceHandle);
   readEtcMultidrive(rules, openFile(rules, etcDir, "multidrive"), traceHandle);
   readEtcMultidriveSrc(rules, openFile(rules, etcDir, "multidrive_src"), traceHandle);
   return rules;
}

}  // namespace StorageDevices
