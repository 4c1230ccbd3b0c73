// What the appliance's files say of its disks, as discovery works with it.
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
   Vorn::Optional<Pelm::String> multidriveSrc;  // pattern of the drive that is active all the same
   int shortage = 0;  // errno for want of which one of the files could not be opened
};

// Reads blockdev, multidrive and multidrive_src in `etcDir`. Entries and failures are traced; what
// cannot be read is taken as empty. The traces name the files as every unit knows them, below /etc.
STORAGEDEVICES_API ApplianceRules readApplianceRules(Pelm::String const & etcDir,
                                                     Vorn::TraceHandle const & traceHandle);

}  // namespace StorageDevices
