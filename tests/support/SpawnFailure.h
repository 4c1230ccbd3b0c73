// Makes the start of programs fail, as during a shortage of processes.
#pragma once

#include <string>

namespace Support {

// For its scope, starting a program whose path has that end fails with that errno value.
class SpawnFailure {
 public:
   explicit SpawnFailure(int error, std::string ending = "");
   SpawnFailure(SpawnFailure const &) = delete;
   SpawnFailure & operator=(SpawnFailure const &) = delete;
   ~SpawnFailure();
};

}  // namespace Support
