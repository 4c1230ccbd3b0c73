// The history of a disk, as the agent serves it.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace Command {

// Empty: nothing was read.
using Reading = std::optional<double>;

// The readings of a moment stand at the same place in each list.
struct ServedHistory {
   std::vector<double> times;              // seconds since 1970, ascending
   std::vector<Reading> temperature;       // degrees Celsius
   std::vector<Reading> lifeLeft;          // percent of the rated life
   std::vector<Reading> readPerSecond;     // bytes
   std::vector<Reading> writtenPerSecond;  // bytes
};

// Reads the answer to /api/v1/history. What is no number, or none that a disk can have, was not read. Raises
// std::runtime_error with one line for a document without ascending times.
ServedHistory servedHistory(std::string_view document);

// Seconds since 1970.
struct TimeWindow {
   double from = 0;
   double to = 0;  // above `from`
};

// Which reading stands for all of a column.
enum class Pick { highest, last, mean };

// The window in columns of the same length. A column without a moment has the reading of the nearest moment,
// if that is no farther away than moments usually are from each other; else nothing was read there.
std::vector<Reading> inColumns(std::span<double const> times, std::span<Reading const> readings,
                               TimeWindow const & window, std::size_t columns, Pick pick);

}  // namespace Command
