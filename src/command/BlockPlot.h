// Plots of block characters, for a terminal.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "command/ServedHistory.h"
#include "command/Tone.h"

namespace Command {

struct PlotStyle {
   bool utf8 = true;            // else ASCII alone
   bool colour = false;         // ANSI colours
   std::size_t labelWidth = 0;  // cells before the axis
};

struct PlotRange {
   double low = 0;
   double high = 1;  // above `low`
};

struct BlockPlot {
   std::vector<Reading> columns;
   PlotRange range{};
   std::size_t rows = 1;
   std::string lowLabel{};                // stands at the lowest row, unless that is the highest too
   std::string highLabel{};               // stands at the highest row
   std::function<Tone(double)> toneOf{};  // of a reading
};

// The rows, the highest first, each with its line break. Every reading has a mark in the lowest row; where
// nothing was read stands the mark of a gap.
std::string blockPlot(BlockPlot const & plot, PlotStyle const & style);

// The mark in columns where nothing was read.
std::string_view gapMark(PlotStyle const & style);

// The cells of a line before its first column.
std::size_t columnsBegin(PlotStyle const & style);

// The axis below a plot, and a line of labels: times of the day in UTC as "19:30", or days as "11-20".
std::string timeAxis(TimeWindow const & window, std::size_t columns, PlotStyle const & style);

// The narrowest range for all readings whose ends are multiples of 1, 2, 5, 10, 20, …: one to two of these a
// row. No reading lies on its lower end.
PlotRange fittingRange(double least, double greatest, std::size_t rows);

// From 0 to the first of 1, 2, 5, 10, 20, … that is not below the greatest reading.
PlotRange rangeFromZero(double greatest);

}  // namespace Command
