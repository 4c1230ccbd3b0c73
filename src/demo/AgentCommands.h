// Asks the agent as an operator does: with the program storagedevices.
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "demo/ProgramStart.h"

namespace Demo {

// What the program writes to standard output; nothing unless it ends with code 0 within the time. A program
// that takes longer is killed. Throws std::system_error when it cannot be started.
std::optional<std::string> outputOf(std::filesystem::path const & program,
                                    std::vector<std::string> const & arguments,
                                    Environment const & environment, std::chrono::milliseconds time);

// How the status table is to look.
struct TableForm {
   std::size_t columns = 80;
   bool colour = false;

   bool operator==(TableForm const &) const = default;
};

// Each answer is what the program writes; nothing where the agent does not answer.
class AgentCommands {
 public:
   // `program` is storagedevices, `socket` that of the agent.
   AgentCommands(std::filesystem::path program, std::filesystem::path const & socket);

   std::optional<std::string> state() const;      // status --json
   std::optional<std::string> messages() const;   // messages --json
   std::optional<std::string> catalogue() const;  // catalogue --json
   std::optional<std::string> table(TableForm const & form) const;

 private:
   std::filesystem::path program_;
   std::string socket_;
};

}  // namespace Demo
