// Columns of text for a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "command/Tone.h"

namespace Command {

// Texts are not escaped here: escape outside data before.
struct Cell {
   std::string text;
   Tone tone = Tone::plain;
};

struct Column {
   enum class Omit {
      never,    // always shown, its cells cut if need be
      ifEmpty,  // left out while all its cells are empty
      early,    // also left out where the terminal is too narrow, the rightmost such column first
      late,     // likewise, after all `early` ones
   };

   std::string title;
   std::size_t leastWidth = 4;  // cells are cut no further than to this many
   Omit omit = Omit::never;
   bool right = false;  // aligned to the right
   std::vector<Cell> cells{};
};

// All columns have the same number of cells. `width` is the terminal's, 0 for no limit; no line is wider.
// Colour means ANSI escape sequences. Every line ends with a line break; a last line names the columns
// that had to be left out.
std::string textTable(std::vector<Column> columns, std::size_t width, bool colour);

}  // namespace Command
