// A disk's history as `storagedevices history` plots it.
#pragma once

#include <cstddef>
#include <string>

#include "command/Check.h"
#include "command/ServedHistory.h"

namespace Command {

struct HistoryOptions {
   std::size_t width = 0;  // of the terminal in columns; 0: not known, 80
   bool colour = false;    // ANSI colours
   bool utf8 = true;       // else ASCII alone
   unsigned hours = 24;    // that are plotted, until `now`
   double now = 0;         // seconds since 1970
};

// A headline, and plots of temperature, life left, and what was read and written, above one axis of time. A
// sentence stands where nothing was read. Readings beyond the limits of the disk and of `unit` have colours.
std::string historyText(CheckedDisk const & disk, CheckResult const & unit, ServedHistory const & history,
                        HistoryOptions const & options);

// How to read the plots: the last line.
std::string historyLegend(HistoryOptions const & options);

}  // namespace Command
