// What is known of the terminal to which a program writes.
#pragma once

#include <cstddef>

namespace Base {

// Whether ANSI colours may be written to the descriptor. Yes for a terminal, and for anything else if the
// environment variable CLICOLOR_FORCE is neither empty nor "0". Never if NO_COLOR is not empty.
bool takesColour(int descriptor);

// 0: not known.
struct TerminalSize {
   std::size_t rows = 0;
   std::size_t columns = 0;
};

// Zeros for a descriptor that is no terminal.
TerminalSize terminalSize(int descriptor);

// The columns for output to the descriptor: those of the terminal, or for anything else those that the
// environment variable COLUMNS names. 0: no limit.
std::size_t outputWidth(int descriptor);

// Whether the user's locale is one of UTF-8, as the environment names it: the first of LC_ALL, LC_CTYPE and
// LANG that is not empty decides. A locale that is not installed counts too, since the terminal may be
// elsewhere.
bool takesUtf8();

}  // namespace Base
