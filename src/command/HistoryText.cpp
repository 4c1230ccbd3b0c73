#include "command/HistoryText.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "base/Text.h"
#include "command/BlockPlot.h"
#include "command/Quantity.h"

namespace Command {

namespace {

constexpr std::size_t usualWidth = 80;
constexpr std::size_t leastColumns = 10;
constexpr std::size_t mostWidth = 1000;
constexpr double secondsPerHour = 3600;

// The least, the greatest and the last reading.
struct Extent {
   double least = 0;
   double greatest = 0;
   double last = 0;
};

std::optional<Extent> extentOf(std::vector<Reading> const & readings) {
   std::optional<Extent> extent;
   for (Reading const & reading : readings)
      if (reading && !extent)
         extent = Extent{*reading, *reading, *reading};
      else if (reading)
         extent = Extent{std::min(extent->least, *reading), std::max(extent->greatest, *reading), *reading};
   return extent;
}

using Format = std::function<std::string(double)>;

struct Figure {
   char const * title;
   std::vector<Reading> const & readings;
   Pick pick;
   std::size_t rows;
   Format format;
   std::function<PlotRange(Extent const &)> range;
   std::string limits{};
   std::function<Tone(double)> toneOf{};
};

std::string wholeNumber(double value) {
   return std::to_string(std::llround(value));
}

std::string rateText(double bytes) {
   return bytesText(std::max(bytes, 0.0)) + "/s";
}

std::string limitText(char const * words, Reading const & limit, Format const & format) {
   return limit ? std::string{", "}.append(words).append(" ").append(format(*limit)) : std::string{};
}

Figure temperatureOf(CheckedDisk const & disk, ServedHistory const & history, bool utf8) {
   constexpr std::size_t rows = 4;
   Format const format = [utf8](double value) { return wholeNumber(value) + (utf8 ? " °C" : " C"); };
   return {"Temperature",
           history.temperature,
           Pick::highest,
           rows,
           format,
           [](Extent const & extent) { return fittingRange(extent.least, extent.greatest, rows); },
           limitText("too hot at", disk.overheat, format) + limitText("critical at", disk.critical, format),
           [overheat = disk.overheat, critical = disk.critical](double value) {
              if (critical && value >= *critical)
                 return Tone::bad;
              return overheat && value >= *overheat ? Tone::warning : Tone::plain;
           }};
}

Figure lifeOf(CheckResult const & unit, ServedHistory const & history) {
   Format const format = [](double value) { return wholeNumber(value) + " %"; };
   return {"Life left",
           history.lifeLeft,
           Pick::last,
           3,
           format,
           [](Extent const &) {
              return PlotRange{0, 100};
           },
           limitText("worn at", unit.lifeWarning, format) + limitText("used up at", unit.lifeFailing, format),
           [warning = unit.lifeWarning, failing = unit.lifeFailing](double value) {
              if (failing && value <= *failing)
                 return Tone::bad;
              return warning && value <= *warning ? Tone::warning : Tone::plain;
           }};
}

Figure rateOf(char const * title, std::vector<Reading> const & readings) {
   return {title, readings, Pick::mean,
           3,     rateText, [](Extent const & extent) { return rangeFromZero(extent.greatest); }};
}

// "34 °C to 58 °C, last 41 °C, too hot at 70 °C".
std::string summary(Figure const & figure, std::optional<Extent> const & extent) {
   if (!extent)
      return std::string{figure.title} + ": nothing was read";
   std::string const least = figure.format(extent->least);
   std::string const greatest = figure.format(extent->greatest);
   return std::string{figure.title} + ": " + least + (least == greatest ? "" : " to " + greatest) +
          ", last " + figure.format(extent->last) + figure.limits;
}

std::string headline(CheckedDisk const & disk, HistoryOptions const & options) {
   std::string const name =
       Base::escaped(disk.serial + (disk.device.empty() ? "" : " (" + disk.device + ")"));
   std::string const end = Base::utcTime(options.now);
   std::string text = name + ": " + std::to_string(options.hours) + (options.hours == 1 ? " hour" : " hours");
   if (end.size() >= 16)
      text += " until " + end.substr(0, 10) + " " + end.substr(11, 5) + " UTC";
   return text;
}

std::size_t widthOf(HistoryOptions const & options) {
   return options.width == 0 ? usualWidth : std::min(options.width, mostWidth);
}

// The text for that terminal; of a character that it does not have, a mark for each byte.
std::string fitted(std::string text, HistoryOptions const & options) {
   if (options.utf8)
      return Base::cutToWidth(text, widthOf(options));
   std::replace_if(
       text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; }, '?');
   return text.substr(0, widthOf(options));
}

std::size_t columnsOf(HistoryOptions const & options, PlotStyle const & style) {
   std::size_t const taken = columnsBegin(style);
   return std::max(widthOf(options), taken + leastColumns) - taken;
}

}  // namespace

std::string historyText(CheckedDisk const & disk, CheckResult const & unit, ServedHistory const & history,
                        HistoryOptions const & options) {
   constexpr std::size_t labelWidth = 8;  // "200 MB/s"
   PlotStyle const style{options.utf8, options.colour, labelWidth};
   std::size_t const columns = columnsOf(options, style);
   TimeWindow const window{options.now - options.hours * secondsPerHour, options.now};
   std::string text = fitted(headline(disk, options), options);
   text = (options.colour ? coloured(text, Tone::title) : text) + "\n";
   bool isPlotted = false;
   for (Figure const & figure :
        {temperatureOf(disk, history, options.utf8), lifeOf(unit, history),
         rateOf("Read", history.readPerSecond), rateOf("Written", history.writtenPerSecond)}) {
      auto const extent = extentOf(figure.readings);
      text += fitted(summary(figure, extent), options) + "\n";
      if (!extent)
         continue;
      PlotRange const range = figure.range(*extent);
      text += blockPlot({inColumns(history.times, figure.readings, window, columns, figure.pick), range,
                         figure.rows, figure.format(range.low), figure.format(range.high), figure.toneOf},
                        style);
      isPlotted = true;
   }
   return isPlotted ? text + timeAxis(window, columns, style) : text;
}

std::string historyLegend(HistoryOptions const & options) {
   PlotStyle const style{options.utf8};
   return "Per column: highest temperature, last life left, mean rates; " + std::string{gapMark(style)} +
          " nothing was read.\n";
}

}  // namespace Command
