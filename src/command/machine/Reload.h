// `storagedevices reload`: has the running agent read its configuration again.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Command {

// What the state document says of the agent's configuration.
struct AgentConfiguration {
   std::string file;     // where the agent reads it
   pid_t processId = 0;  // as the agent sees itself, in a container of its own perhaps
   std::uint64_t reloads = 0;
   bool good = false;  // how the latest reload ended; an error has changed nothing
   std::string text;   // what took effect, or the error
};

// Raises std::runtime_error with one line for a document that says nothing of it.
AgentConfiguration agentConfiguration(std::string_view state);

struct ReloadOptions {
   std::string socket;
   std::optional<std::string> configPath;     // must be the agent's own
   std::chrono::milliseconds patience{5000};  // with an agent that does not report a reload
};

// Checks the file that the agent reads and the appliance's files, sends the agent a SIGHUP, and waits until
// it reports the outcome, which is printed. Returns the exit code. An error in a file leaves the agent alone;
// so does a process on the socket that is not the agent. Raises std::exception with one line.
int reload(ReloadOptions const & options);

}  // namespace Command
