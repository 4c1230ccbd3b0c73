// The agent as a child that cannot outlive the demo.
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace Agent::Demo {

class AgentProcess {
 public:
   // Starts the program with what `environment` adds to this process's own. The child begins with no
   // blocked signals and gets SIGTERM when this process ends in whatever way. Throws
   // std::system_error; a file that turns out to be no program shows as one that ends with code 127.
   AgentProcess(std::filesystem::path const & program, std::vector<std::string> const & arguments,
                std::map<std::string, std::string> const & environment);
   // Stops it.
   ~AgentProcess();
   AgentProcess(AgentProcess const &) = delete;
   AgentProcess & operator=(AgentProcess const &) = delete;

   // Readable when there is output; -1 once it has ended.
   int outputDescriptor() const { return output_; }
   // The lines that have been written to standard output and error so far, each at most 4 KiB.
   std::vector<std::string> lines();
   bool running();

   // SIGTERM, and SIGKILL two seconds later; then ends what it has left behind. Says how it ended, such
   // as "exit code 0".
   std::string stop();

 private:
   void ended(int status);
   bool endsWithin(std::chrono::milliseconds time);

   int pid_ = -1;
   int output_ = -1;
   std::string unfinished_;
   std::string ending_;
};

// The agent that belongs to this program: installed, or in the same build. Throws std::runtime_error
// when there is none.
std::filesystem::path findAgent();

}  // namespace Agent::Demo
