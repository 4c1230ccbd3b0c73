// The command line of `storagedevices`.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/DefaultPaths.h"

namespace Command {

struct Subcommand {
   enum class Kind { agent, status, messages, history, check, catalogue, checkConfig, init, reload, demo };

   Kind kind = Kind::agent;
   std::optional<std::string> configPath;           // agent, check-config, init, reload
   bool json = false;                               // status, messages, history, check, catalogue
   bool watch = false;                              // status; never together with json
   bool write = false;                              // init
   bool follow = false;                             // messages
   std::optional<std::string> disk;                 // history: a serial number
   unsigned hours = 24;                             // history: 1 to 8760
   std::string socket = Base::defaultStatusSocket;  // status, messages, history, check, reload
   std::optional<double> timeScale;                 // demo: 0.001 to 100000
   std::optional<std::string> http;                 // demo: a loopback address and a port

   bool operator==(Subcommand const &) const = default;
};

// Either a command to run, or the text to print and the exit code: 0 after --help and --version,
// 2 after wrong usage; of `check` 3, and the output says so to a monitoring system.
struct Invocation {
   std::optional<Subcommand> command;
   std::string output;  // for standard output
   std::string error;   // one line for standard error
   int exitCode = 0;
};

// `arguments` are those after the program's name.
Invocation parseCommandLine(std::vector<std::string> const & arguments, std::string_view version);

}  // namespace Command
