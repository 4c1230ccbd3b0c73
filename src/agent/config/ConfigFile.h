// Configuration files as the agent opens them: nothing that stands in a file's place makes it wait for good.
#pragma once

#include <optional>
#include <string>

#include "agent/config/Config.h"

namespace Agent {

// How long, in real seconds, a pipe may take to give the whole of a configuration.
inline constexpr double configPipePatience = 10;

// The text of a configuration file; nothing: there is no such file. A pipe is read to its end when it is one
// that this process was handed open (/dev/stdin, /dev/fd/N, /proc/self/fd/N: "--config <(...)"). Raises
// ConfigError, which names the file, for a pipe that is not at its end after `patience` real seconds, for any
// other pipe, a directory, a socket or a device but /dev/null, and for a file that cannot be read. Of more
// than 1 MiB only so much is read that `parseConfig` refuses it.
std::optional<std::string> configText(std::string const & path, double patience = configPipePatience);

// Raises ConfigError for what cannot be read or is no good configuration.
Config loadConfig(std::string const & path);

// The same, except that a file that does not exist means the defaults.
Config loadConfigIfPresent(std::string const & path);

// The same as loadConfig, for a file that was read before: a pipe has given what it had.
Config reloadConfig(std::string const & path);

// Of the command line's --config: without one the file at its usual place, if there is one. `configAgainAt`
// reads what was read before.
Config configAt(std::optional<std::string> const & path);
Config configAgainAt(std::optional<std::string> const & path);

}  // namespace Agent
