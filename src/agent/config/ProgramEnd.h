// How a program of ours ends when it fails: one line on standard error, and a code that scripts can rely on.
#pragma once

#include <functional>
#include <string>

namespace Agent {

inline constexpr int exitFailed = 1;      // at run time
inline constexpr int exitWrongUsage = 2;  // of the command line or the configuration

// Writes the line, with everything in it escaped that could steer a terminal. Answers the code.
int failWith(int code, std::string const & text);

// What `program` answers; where it raises, the line that says why and the code.
int exitCodeOf(std::function<int()> const & program);

}  // namespace Agent
