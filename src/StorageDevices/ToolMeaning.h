// Describes how a run of a tool ended.
#pragma once

#include <string>
#include <string_view>

#include "StorageDevices/Export.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"

namespace StorageDevices {

// Whether the program never ran; the run's `reason` is the cause.
STORAGEDEVICES_API bool couldNotStart(Brul::FinishedRun const & run);

// `exitCode` is the tracker's: minus the signal that ended the run, 127 when the program could not be run.
// For smartctl each bit of the code is described, with "; " between. Exit code 0 is "ok".
STORAGEDEVICES_API std::string runMeaning(std::string_view program, int exitCode, bool timedOut);

// The same, with the tracker's reason for a program that could not be started or was ended because of its
// output.
STORAGEDEVICES_API std::string runMeaning(Brul::FinishedRun const & run);

}  // namespace StorageDevices
