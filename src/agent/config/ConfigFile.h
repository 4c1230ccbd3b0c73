// Opens configuration files so that no other kind of file in their place can stall the agent.
#pragma once

#include <optional>
#include <string>

#include "agent/config/Config.h"
#include "runtime/Vorn/Seconds.h"

namespace Agent {

// Real time within which a pipe must supply the whole configuration.
inline constexpr Vorn::Seconds configPipePatience = 10;

// The text of a configuration file; nothing: there is no such file. A pipe is read to its end if this process
// has inherited it (/dev/stdin, /dev/fd/N, /proc/self/fd/N: "--config <(...)").
//
// Raises ConfigError, which names the file, for a pipe that has not ended after `patience` of real time, and
// for any other pipe. Also for a directory, a socket, a device other than /dev/null, and an unreadable file.
// Of a file of more than 1 MiB it reads just enough for `parseConfig` to refuse it.
std::optional<std::string> configText(std::string const & path, Vorn::Seconds patience = configPipePatience);

// The configuration of the command line's --config. Without the option: the file at its usual place, the
// defaults if there is none. Raises ConfigError for an unreadable file and for an invalid configuration.
Config configAt(std::optional<std::string> const & path,
                std::string const & usualPath = Base::defaultConfigPath);

// The same, read again. A pipe cannot be read twice, so it is refused.
Config configAgainAt(std::optional<std::string> const & path);

}  // namespace Agent
