// Turns what the many versions of nvme print as JSON into the one layout that the library reads.
#pragma once

#include <string>
#include <string_view>

namespace Agent::Compat {

enum class NvmeCommand { smartLog, list };

struct Layout {
   enum class Kind {
      unchanged,  // it is in that layout, or in none that is known
      rewritten,  // `text` is it in that layout
      error,      // instead of what was asked for it tells of an error; `text` says which, in one line
   };

   Kind kind = Kind::unchanged;
   std::string text;
};

// What the command printed. Text before the JSON is dropped.
//
// Of a smart log the counters that the library reads become whole numbers of at most 64 bits with sign, and a
// "critical_warning" that is spread out becomes its value; of a list, see ListLayout.h. All else stays byte
// for byte. It is outside data: text that is no JSON, has a NUL, is beyond the bounds of JsonIndex or finds
// no memory is unchanged.
Layout knownLayout(NvmeCommand command, std::string_view output);

}  // namespace Agent::Compat
