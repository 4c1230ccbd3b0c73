// A line of a trace, as the host's sink gets it. The views are of constants, which live as long as their
// library is loaded.
#pragma once

#include <string>
#include <string_view>

namespace Vorn {

struct TraceLine {
   std::string_view facility;
   int level;              // 0 errors, 1 changes of state, 2 events, 7 periodic detail
   std::string_view file;  // and line: where the trace stands, as the compiler names the file
   int line;
   std::string_view function;
   std::string text;  // any bytes; texts of devices are not escaped
};

}  // namespace Vorn
