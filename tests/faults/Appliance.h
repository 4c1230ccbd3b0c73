// A simulated unit with every monitor at work, and one run of the agent on it.
#pragma once

#include <rapidjson/document.h>
#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulation/SimulatedUnit.h"
#include "tests/faults/Supervisor.h"
#include "tests/support/TempDir.h"

namespace Faults {

class Appliance {
 public:
   Appliance();

   std::string socket() const { return folder.string() + "/run/status.sock"; }
   std::string kernelSocket() const { return folder.string() + "/kernel.sock"; }
   Supervisor::Replacements replacements() const;

   Support::TempDir folder;
   StorageDevices::Simulation::SimulatedUnit unit;

 private:
   void addDisks();
   void configure() const;
};

// The daemon as a child.
class AgentRun {
 public:
   // An allocation that fails is one of operator new, counted from 1; 0: none.
   AgentRun(Appliance const & appliance, std::optional<Fault> const & fault, unsigned long allocation);
   ~AgentRun();
   AgentRun(AgentRun const &) = delete;
   AgentRun & operator=(AgentRun const &) = delete;

   pid_t pid() const { return pid_; }
   bool running();
   // What waitpid gave, when it has ended.
   int status() const { return status_; }
   bool endsWithin(std::chrono::milliseconds time);
   std::string log() const;
   bool hasFailedOne() const;
   Supervisor & supervisor() { return *supervisor_; }
   std::size_t descriptors() const;
   // Those of the agent, and what it left behind to this process.
   std::size_t children() const;

 private:
   [[noreturn]] void becomeAgent(int numberPipe) const;

   Appliance const & appliance_;
   std::map<std::string, std::string> environment_;
   pid_t pid_ = -1;
   int status_ = 0;
   std::unique_ptr<Supervisor> supervisor_;
};

}  // namespace Faults
