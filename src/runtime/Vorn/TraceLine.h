// A line of a trace, on its way to the host.
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
   std::string text;  // any bytes; what comes from a device is not escaped
};

}  // namespace Vorn
