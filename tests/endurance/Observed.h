// What the unit and the model are compared by.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace Endurance {

struct Message {
   double time = 0;
   std::string name;
   std::vector<std::string> arguments;

   auto operator<=>(Message const &) const = default;
};

// The reasons of each disk by its serial number, sorted, such as "life-low overheat"; empty: it is ok.
using Verdicts = std::map<std::string, std::string>;

}  // namespace Endurance
