// What happens to the unit, and when: a list of events, made of a seed or read from a file.
//
// An event is a line: the time in seconds since the start, its word, the place, a detail, a number; "-"
// stands for what it does not need. For example "3661.4375 tool nvme nvme hangs 0".
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace Endurance {

struct Event {
   double time = 0;  // seconds since the start; a sixteenth is exact
   std::string word;
   std::string place;
   std::string detail;
   std::int64_t number = 0;

   bool operator==(Event const &) const = default;
};

using Script = std::vector<Event>;

// The events of a span, in order, at least two seconds apart. The same seed makes the same script.
Script randomScript(std::uint32_t seed, double span);

void write(std::ostream & out, Script const & script);
// Throws std::runtime_error with the line's number for a line that is no event.
Script read(std::istream & in);

}  // namespace Endurance
