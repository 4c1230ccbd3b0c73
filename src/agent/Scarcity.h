// What an operator can do where the system gives no more memory, processes or descriptors.
#pragma once

#include <optional>
#include <string>
#include <system_error>

namespace Agent {

// The error in words; where a limit is its cause, also which, and how to raise it.
std::string explained(int error);

// What the exception says, with the same addition.
std::string explained(std::system_error const & error);

// What to say of an allocation that failed.
std::string memoryExhausted();

// With fewer descriptors than this the agent cannot watch even a few disks.
inline constexpr unsigned long fewDescriptors = 64;

// A line when no more than `allowed` descriptors may be open and that is too few.
std::optional<std::string> descriptorsLine(unsigned long allowed);

}  // namespace Agent
