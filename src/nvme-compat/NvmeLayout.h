// Converts the JSON output of the versions of nvme to the layout that the library reads.
#pragma once

#include <string>
#include <string_view>

namespace NvmeCompat {

enum class NvmeCommand { smartLog, list };

struct Layout {
   enum class Kind {
      unchanged,  // the output has that layout, or an unknown one
      rewritten,  // `text` is the output in that layout
      error,      // the output reports an error; `text` is its message, one line
   };

   Kind kind = Kind::unchanged;
   std::string text;
};

// Converts the output of the command. Drops text before the JSON.
//
// Smart log: the counters that the library reads become whole numbers of signed 64 bits, and a
// "critical_warning" that is an object becomes its value. List: see ListLayout.h. Everything else stays byte
// for byte. The output is untrusted: it stays unchanged if it is no JSON, has a NUL, exceeds the bounds of
// JsonIndex or finds no memory.
Layout knownLayout(NvmeCommand command, std::string_view output);

}  // namespace NvmeCompat
