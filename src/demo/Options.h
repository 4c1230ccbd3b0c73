// The demo's command line.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace Demo {

class UsageError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

struct Options {
   std::string help;       // to be printed instead of playing; empty: play
   std::string agent;      // path of the program storagedevices; empty: the one that belongs to the demo
   std::string http;       // where the agent answers on TCP too, as in the configuration; empty: none
   double timeScale = 60;  // 0.001 to 100000; with 60 the disks are read every second
};

// `arguments` are those after the program's name. Throws UsageError with one line.
Options parseOptions(std::vector<std::string> const & arguments);

}  // namespace Demo
