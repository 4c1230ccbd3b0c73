// The end of a program that fails: one line on standard error, and a documented exit code.
#pragma once

#include <functional>
#include <string>

namespace Agent {

inline constexpr int exitFailed = 1;      // at run time
inline constexpr int exitWrongUsage = 2;  // of the command line or the configuration

// Writes the line, with control characters escaped. Answers the code.
int failWith(int code, std::string const & text);

// Answers the result of `program`. If it raises, writes the reason and answers the code for it.
int exitCodeOf(std::function<int()> const & program);

}  // namespace Agent
