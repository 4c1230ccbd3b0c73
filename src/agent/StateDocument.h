// The state document: what the monitors publish, as one JSON text.
#pragma once

#include <string>

#include "StorageDevices/ConnectedDevices.h"

namespace Agent {

// Of each monitor that runs, what it publishes.
struct StateSources {
   StorageDevices::ConnectedDevices const & connectedDevices;
   bool internalDevicesReady;
   double utc;
};

std::string stateDocument(StateSources const & sources);

}  // namespace Agent
