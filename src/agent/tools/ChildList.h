// Lists the children of this process.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace Agent {

struct Child {
   pid_t pid;
   char state;             // as in /proc/PID/stat; 'Z' has ended
   std::uint64_t started;  // clock ticks since the machine's start

   bool operator==(Child const &) const = default;
};

// The children of the process's first thread, adopted ones included. A child that starts or ends meanwhile
// may be missing.
std::vector<Child> children();

// The process that the text of its /proc/PID/stat describes, if it is a child of `parent`.
std::optional<Child> childIn(std::string_view stat, pid_t parent);

}  // namespace Agent
