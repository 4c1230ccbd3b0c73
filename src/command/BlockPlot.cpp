#include "command/BlockPlot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <string_view>
#include <utility>

#include "base/Text.h"

namespace Command {

namespace {

struct Marks {
   std::span<std::string_view const> levels;  // of a cell, from the lowest to a full one
   std::string_view gap;
   std::string_view axis;
   std::string_view labelledAxis;
   std::string_view corner;
   std::string_view line;
   std::string_view tick;
};

constexpr std::array<std::string_view, 8> eighths{"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::array<std::string_view, 2> halves{":", "#"};
constexpr Marks unicodeMarks{eighths, "·", "│", "┤", "└", "─", "┬"};
constexpr Marks asciiMarks{halves, ".", "|", "+", "+", "-", "+"};

Marks const & marksOf(PlotStyle const & style) {
   return style.utf8 ? unicodeMarks : asciiMarks;
}

// The height of a reading in levels: 1 at least.
std::size_t heightOf(double reading, BlockPlot const & plot, std::size_t levels) {
   auto const all = static_cast<double>(plot.rows * levels);
   double const part = (reading - plot.range.low) / (plot.range.high - plot.range.low);
   return static_cast<std::size_t>(std::clamp(std::round(part * all), 1.0, all));
}

// `below`: the rows below this one.
std::string_view cellOf(Reading const & reading, BlockPlot const & plot, std::size_t below,
                        Marks const & marks) {
   if (!reading)
      return below == 0 ? marks.gap : " ";
   std::size_t const levels = marks.levels.size();
   std::size_t const height = heightOf(*reading, plot, levels);
   if (height <= below * levels)
      return " ";
   return marks.levels[std::min(height - below * levels, levels) - 1];
}

std::string labelled(std::string const & label, PlotStyle const & style) {
   std::size_t const cells = Base::displayWidth(label);
   return std::string(style.labelWidth - std::min(cells, style.labelWidth), ' ') +
          Base::cutToWidth(label, style.labelWidth) + " ";
}

// The columns of a row; neighbours of one tone are coloured together.
std::string cellsOf(BlockPlot const & plot, std::size_t below, PlotStyle const & style) {
   std::string row;
   std::string run;
   Tone tone = Tone::plain;
   for (Reading const & reading : plot.columns) {
      bool const isToned = style.colour && reading && plot.toneOf;
      Tone const next = isToned ? plot.toneOf(*reading) : Tone::plain;
      if (next != tone)
         row += coloured(std::exchange(run, {}), std::exchange(tone, next));
      run += cellOf(reading, plot, below, marksOf(style));
   }
   return row + coloured(run, tone);
}

std::string withoutBlanksAtEnd(std::string line) {
   line.erase(line.find_last_not_of(' ') + 1);
   return line + "\n";
}

constexpr double tickMinute = 60;
constexpr double tickHour = 60 * tickMinute;
constexpr double tickDay = 24 * tickHour;

// Room for a label and a gap.
constexpr std::size_t labelCells = 5;

double tickStep(TimeWindow const & window, std::size_t columns) {
   constexpr std::array steps{
       tickMinute,  2 * tickMinute, 5 * tickMinute, 10 * tickMinute, 15 * tickMinute, 30 * tickMinute,
       tickHour,    2 * tickHour,   3 * tickHour,   6 * tickHour,    12 * tickHour,   tickDay,
       2 * tickDay, 7 * tickDay,    14 * tickDay,   30 * tickDay,    90 * tickDay};
   double const least = (window.to - window.from) / static_cast<double>(columns) * (labelCells + 3);
   auto const * const found =
       std::find_if(steps.begin(), steps.end(), [least](double step) { return step >= least; });
   return found == steps.end() ? 365 * tickDay : *found;
}

// "19:30", and "11-20" for a midnight.
std::string tickLabel(double time) {
   std::string text = Base::utcTime(time);
   if (text.size() < 16)
      return text;
   return std::fmod(time, tickDay) == 0 ? text.substr(5, labelCells) : text.substr(11, labelCells);
}

}  // namespace

std::string_view gapMark(PlotStyle const & style) {
   return marksOf(style).gap;
}

std::size_t columnsBegin(PlotStyle const & style) {
   return style.labelWidth + 2;
}

std::string blockPlot(BlockPlot const & plot, PlotStyle const & style) {
   std::string text;
   for (std::size_t below = plot.rows; below-- > 0;) {
      std::string const & label = below + 1 == plot.rows ? plot.highLabel : below == 0 ? plot.lowLabel : "";
      std::string_view const axis = label.empty() ? marksOf(style).axis : marksOf(style).labelledAxis;
      text += withoutBlanksAtEnd(labelled(label, style) + std::string{axis} + cellsOf(plot, below, style));
   }
   return text;
}

std::string timeAxis(TimeWindow const & window, std::size_t columns, PlotStyle const & style) {
   Marks const & marks = marksOf(style);
   std::vector<std::string_view> axis(columns, marks.line);
   std::string labels(columnsBegin(style) + columns, ' ');
   double const step = tickStep(window, columns);
   double const first = std::ceil(window.from / step) * step;
   for (std::size_t tick = 0; tick < columns; ++tick) {
      double const time = first + step * static_cast<double>(tick);
      double const part = (time - window.from) / (window.to - window.from);
      if (!(part >= 0 && part < 1))
         break;
      auto const column = static_cast<std::size_t>(part * static_cast<double>(columns));
      std::string const label = tickLabel(time);
      std::size_t const begin = columnsBegin(style) + column - std::min(column, labelCells / 2);
      if (begin + label.size() > labels.size())
         break;
      axis[column] = marks.tick;
      labels.replace(begin, label.size(), label);
   }
   std::string text = std::string(columnsBegin(style) - 1, ' ').append(marks.corner);
   for (std::string_view const mark : axis)
      text += mark;
   return text + "\n" + withoutBlanksAtEnd(labels);
}

PlotRange fittingRange(double least, double greatest, std::size_t rows) {
   auto const most = static_cast<double>(2 * rows);
   for (double power = 1;; power *= 10)
      for (double const factor : {1, 2, 5}) {
         double const step = factor * power;
         double const low = (std::ceil(least / step) - 1) * step;
         double const high = std::max(std::ceil(greatest / step) * step, low + step * most / 2);
         if (high - low <= step * most)
            return {low, high};
      }
}

PlotRange rangeFromZero(double greatest) {
   for (double power = 1;; power *= 10)
      for (double const factor : {1, 2, 5})
         if (factor * power >= greatest)
            return {0, factor * power};
}

}  // namespace Command
