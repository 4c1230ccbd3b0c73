// A line of a trace, as the host's sink gets it.
#pragma once

#include <string>
#include <string_view>

namespace Vorn {

struct TraceLine {
   std::string_view facility;
   int level;
   std::string_view file;
   int line;
   std::string_view function;
   std::string text;  // any bytes; texts of devices are not escaped
};

}  // namespace Vorn
