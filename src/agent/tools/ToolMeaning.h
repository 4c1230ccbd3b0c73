// How a run of a tool ended, in words.
#pragma once

#include <string>
#include <string_view>

#include "runtime/Brul/ChildProcessTrackerSm.h"

namespace Agent {

// Whether the program never ran; the run's `reason` says why.
bool couldNotStart(Brul::FinishedRun const & run);

// `exitCode` as the tracker tells it: minus the signal that ended the run, 127 when the program could not be
// run. Of smartctl every bit of the code is told, "; " between them. Exit code 0 is "ok".
std::string runMeaning(std::string_view program, int exitCode, bool timedOut);

// The same with the reason that the tracker gives: of a program that could not be started, or was ended for
// what it wrote.
std::string runMeaning(Brul::FinishedRun const & run);

}  // namespace Agent
