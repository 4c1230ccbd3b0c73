#include "StorageDevices/ToolMeaning.h"

#include <array>
#include <cstddef>
#include <cstring>

namespace StorageDevices {

namespace {

constexpr int cannotRun = 127;
constexpr std::string_view smartctl = "smartctl";

// By bit number, from the tool's manual. The first three are failures of the run, the others report the
// drive's state.
constexpr std::array<std::string_view, 8> smartctlBits{
    "command line not understood",
    "the device could not be opened or identified, or is in a low-power mode",
    "a command to the disk failed or a checksum was wrong",
    "SMART reports that the disk is failing",
    "prefail attributes at or below their threshold",
    "attributes were at or below their threshold in the past",
    "the error log has errors",
    "the self-test log has errors"};

std::string smartctlMeaning(unsigned exitCode) {
   std::string meaning;
   for (std::size_t bit = 0; bit < smartctlBits.size(); ++bit)
      if ((exitCode >> bit & 1U) != 0)
         meaning.append(meaning.empty() ? "" : "; ").append(smartctlBits.at(bit));
   return meaning;
}

std::string signalName(int signal) {
   char const * const name = sigabbrev_np(signal);
   return name != nullptr ? std::string{"SIG"} + name : std::to_string(signal);
}

}  // namespace

bool couldNotStart(Brul::FinishedRun const & run) {
   return run.exitCode == cannotRun && !run.reason.empty();
}

std::string runMeaning(Brul::FinishedRun const & run) {
   if (couldNotStart(run))
      return "could not be started: " + run.reason.str();
   if (!run.reason.empty() && !run.timedOut)
      return "ended: " + run.reason.str();
   auto const program = run.argv.empty() ? std::string_view{} : run.argv.front().view();
   return runMeaning(program, run.exitCode, run.timedOut);
}

std::string runMeaning(std::string_view program, int exitCode, bool timedOut) {
   if (timedOut)
      return "exceeded its time limit";
   if (exitCode < 0)
      return "ended by signal " + signalName(-exitCode);
   if (exitCode == 0)
      return "ok";
   if (exitCode == cannotRun)
      return "not found or not executable";
   if (program == smartctl && exitCode < 1 << smartctlBits.size())
      return smartctlMeaning(static_cast<unsigned>(exitCode));
   return "exit code " + std::to_string(exitCode);
}

}  // namespace StorageDevices
