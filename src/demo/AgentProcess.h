// The agent as a child that cannot outlive the demo.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "base/UniqueFd.h"
#include "demo/ProgramStart.h"

namespace Demo {

class AgentProcess {
 public:
   // Starts the program as `startProgram` does, and throws as it does.
   AgentProcess(std::filesystem::path const & program, std::vector<std::string> const & arguments,
                Environment const & environment);
   // Stops it.
   ~AgentProcess();
   AgentProcess(AgentProcess const &) = delete;
   AgentProcess & operator=(AgentProcess const &) = delete;

   // Readable when there is output; -1 once it has ended.
   int outputDescriptor() const { return output_.get(); }
   // The lines that have been written to standard output and error so far, each at most 4 KiB.
   std::vector<std::string> lines();
   bool running();

   // SIGTERM, and SIGKILL two seconds later; then kills the processes that it left behind. Returns how it
   // ended, such as "exit code 0".
   std::string stop();

 private:
   void ended(int status);
   bool endsWithin(std::chrono::milliseconds time);

   int pid_ = -1;
   Base::UniqueFd output_;
   std::string unfinished_;
   std::string ending_;
};

// The agent that belongs to this program: installed, or in the same build. Throws std::runtime_error
// when there is none.
std::filesystem::path findAgent();

}  // namespace Demo
