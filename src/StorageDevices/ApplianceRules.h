// The contents of the appliance's files in the form in which discovery uses them.
#pragma once

#include <vector>

#include "StorageDevices/EtcBlockdevEntry.h"
#include "StorageDevices/Export.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Optional.h"

namespace Vorn {
class TraceHandle;
}

namespace StorageDevices {

struct STORAGEDEVICES_API ApplianceRules {
   std::vector<EtcBlockdevEntry> etcBlockDev;   // in file order
   std::vector<Pelm::String> etcMultidrive;     // patterns of drives that are inactive, in file order
   Vorn::Optional<Pelm::String> multidriveSrc;  // pattern of the drive that is active nevertheless
   int shortage = 0;  // errno of a shortage that kept a file from being opened; 0: none
};

// Reads blockdev, multidrive and multidrive_src in `etcDir`. Traces entries and failures; an unreadable file
// counts as empty. The traces name the files by their usual paths, below /etc.
STORAGEDEVICES_API ApplianceRules readApplianceRules(Pelm::String const & etcDir,
                                                     Vorn::TraceHandle const & traceHandle);

}  // namespace StorageDevices
