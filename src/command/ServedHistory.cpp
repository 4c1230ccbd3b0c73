#include "command/ServedHistory.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "base/JsonView.h"

namespace Command {

namespace {

using Json = rapidjson::Value;

std::vector<double> timesIn(Json const & document) {
   std::vector<double> times;
   Json const * const list = Base::jsonMember(&document, "time");
   bool isGood = list != nullptr && list->IsArray();
   for (Json const & time : Base::jsonElements(list)) {
      isGood = isGood && time.IsNumber() && (times.empty() || time.GetDouble() > times.back());
      times.push_back(time.IsNumber() ? time.GetDouble() : 0);
   }
   if (!isGood)
      throw std::runtime_error{
          "the agent's answer is no history: is it of the same version as this program?"};
   return times;
}

Reading readingIn(Json const & value) {
   constexpr double beyondAnyDisk = 1e15;
   bool const isReading = value.IsNumber() && std::abs(value.GetDouble()) < beyondAnyDisk;
   return isReading ? Reading{value.GetDouble()} : Reading{};
}

std::vector<Reading> readingsIn(Json const & document, char const * name, std::size_t count) {
   std::vector<Reading> readings;
   for (Json const & value : Base::jsonElements(Base::jsonMember(&document, name)))
      readings.push_back(readingIn(value));
   readings.resize(count);
   return readings;
}

// The median of the time between two moments; 0 for fewer than two.
double usualInterval(std::span<double const> times) {
   std::vector<double> intervals;
   for (std::size_t at = 1; at < times.size(); ++at)
      intervals.push_back(times[at] - times[at - 1]);
   if (intervals.empty())
      return 0;
   auto const middle = intervals.begin() + static_cast<std::ptrdiff_t>(intervals.size() / 2);
   std::nth_element(intervals.begin(), middle, intervals.end());
   return *middle;
}

std::size_t nearest(std::span<double const> times, double time) {
   auto const after =
       static_cast<std::size_t>(std::lower_bound(times.begin(), times.end(), time) - times.begin());
   if (after == times.size())
      return after - 1;
   return after > 0 && time - times[after - 1] < times[after] - time ? after - 1 : after;
}

Reading picked(std::span<Reading const> readings, Pick pick) {
   Reading result;
   double sum = 0;
   double count = 0;
   for (Reading const & reading : readings) {
      if (!reading)
         continue;
      result = result && pick == Pick::highest ? std::max(*result, *reading) : *reading;
      sum += *reading;
      ++count;
   }
   return result && pick == Pick::mean ? sum / count : result;
}

}  // namespace

ServedHistory servedHistory(std::string_view document) {
   auto const json = Base::parsedJson(document, "history");
   ServedHistory history;
   history.times = timesIn(json);
   std::size_t const count = history.times.size();
   history.temperature = readingsIn(json, "temperature", count);
   history.lifeLeft = readingsIn(json, "lifeLeft", count);
   history.readPerSecond = readingsIn(json, "readBytesPerSecond", count);
   history.writtenPerSecond = readingsIn(json, "writtenBytesPerSecond", count);
   return history;
}

std::vector<Reading> inColumns(std::span<double const> times, std::span<Reading const> readings,
                               TimeWindow const & window, std::size_t columns, Pick pick) {
   std::vector<Reading> result(columns);
   double const length = (window.to - window.from) / static_cast<double>(columns);
   double const interval = usualInterval(times);
   auto begin = std::lower_bound(times.begin(), times.end(), window.from);
   for (std::size_t column = 0; column < columns && !times.empty(); ++column) {
      double const from = window.from + length * static_cast<double>(column);
      bool const isLast = column + 1 == columns;
      auto const end = isLast ? std::upper_bound(begin, times.end(), window.to)
                              : std::lower_bound(begin, times.end(), from + length);
      double const middle = from + length / 2;
      if (std::size_t const at = nearest(times, middle); begin != end)
         result[column] = picked(readings.subspan(begin - times.begin(), end - begin), pick);
      else if (std::abs(times[at] - middle) <= interval)
         result[column] = readings[at];
      begin = end;
   }
   return result;
}

}  // namespace Command
