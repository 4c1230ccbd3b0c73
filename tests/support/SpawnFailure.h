// Lets the start of programs fail as on a machine that has no more room for them.
#pragma once

#include <string>

namespace Support {

// While it lives no program whose path ends so can be started: the attempt ends with that errno value.
class SpawnFailure {
 public:
   explicit SpawnFailure(int error, std::string ending = "");
   SpawnFailure(SpawnFailure const &) = delete;
   SpawnFailure & operator=(SpawnFailure const &) = delete;
   ~SpawnFailure();
};

}  // namespace Support
