// What is wrong with the appliance's files, for a host that checks them. Discovery itself takes what it can
// read and traces the rest.
#pragma once

#include <string>
#include <vector>

#include "runtime/Pelm/String.h"

namespace StorageDevices {

// A line per error, that names the file and says what to do. A file that is not there is none. Runs `expr`
// once per pattern.
std::vector<std::string> applianceErrors(Pelm::String const & etcDir);

}  // namespace StorageDevices
