// How a run of a tool ended, in words.
#pragma once

#include <string>
#include <string_view>

namespace Agent {

// `exitCode` as the tracker tells it: minus the signal that ended the run, 127 when the program could not be
// run. Of smartctl every bit of the code is told, "; " between them. Exit code 0 is "ok".
std::string runMeaning(std::string_view program, int exitCode, bool timedOut);

}  // namespace Agent
