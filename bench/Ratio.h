// Speed as a ratio: ours beside its floor or peer, measured in the same run.
//
// A benchmark measures each contender once per round, in an order that turns with every round. Rounds
// are short and many, so that whatever else the machine does meets all contenders of a round alike.
// What counts is the median of the rounds' ratios: a claim is that and its bound, and a missed bound
// fails the program. The times shown are medians too, each of its own.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace Bench {

using Contender = std::function<double()>;  // runs once and answers seconds per operation

// Seconds that `action` takes.
template <class Action>
double secondsOf(Action && action) {
   auto const start = std::chrono::steady_clock::now();
   std::forward<Action>(action)();
   return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Of an even number of values the upper one in the middle.
inline double median(std::vector<double> values) {
   auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
   std::nth_element(values.begin(), middle, values.end());
   return *middle;
}

// The seconds of every contender in every round.
class Rounds {
 public:
   void add(std::size_t contender, double seconds) {
      if (contender >= seconds_.size())
         seconds_.resize(contender + 1);
      seconds_[contender].push_back(seconds);
   }

   double time(std::size_t contender) const { return median(seconds_[contender]); }
   double ratio(std::size_t ours, std::size_t floor) const {
      std::vector<double> ratios;
      for (std::size_t round = 0; round < seconds_[ours].size(); ++round)
         ratios.push_back(seconds_[ours][round] / seconds_[floor][round]);
      return median(std::move(ratios));
   }

 private:
   std::vector<std::vector<double>> seconds_;
};

// One round more, the first, only warms up.
inline Rounds compete(std::vector<Contender> const & contenders, std::size_t count) {
   Rounds rounds;
   for (auto const & contender : contenders)
      contender();
   for (std::size_t round = 0; round < count; ++round)
      for (std::size_t i = 0; i < contenders.size(); ++i) {
         std::size_t const turn = (i + round) % contenders.size();
         rounds.add(turn, contenders[turn]());
      }
   return rounds;
}

inline std::string timeText(double seconds) {
   struct Unit {
      double size;
      char const * name;
   };
   Unit unit{1, "s"};
   for (auto const & smaller : {Unit{1e-3, "ms"}, Unit{1e-6, "us"}, Unit{1e-9, "ns"}})
      if (seconds < unit.size)
         unit = smaller;
   std::string text(32, '\0');
   int const size = std::snprintf(text.data(), text.size(), "%.2f %s", seconds / unit.size, unit.name);
   text.resize(static_cast<std::size_t>(size));
   return text;
}

// The claims of one program, a line each: name, our time, the floor's, ratio, bound, verdict.
class Report {
 public:
   void claim(std::string const & name, Rounds const & rounds, std::size_t ours, std::size_t floor,
              double bound) {
      bool const good = rounds.ratio(ours, floor) <= bound;
      missed_ = missed_ || !good;
      line(name, rounds, ours, floor);
      std::printf("  bound %5.2f  %s\n", bound, good ? "good" : "BAD");
      std::fflush(stdout);
   }

   // For comparison; there is no bound.
   static void note(std::string const & name, Rounds const & rounds, std::size_t ours, std::size_t floor) {
      line(name, rounds, ours, floor);
      std::puts("  for comparison");
      std::fflush(stdout);
   }

   int exitCode() const { return missed_ ? 1 : 0; }

 private:
   static void line(std::string const & name, Rounds const & rounds, std::size_t ours, std::size_t floor) {
      std::printf("%-60s %10s / %10s = %5.2f", name.c_str(), timeText(rounds.time(ours)).c_str(),
                  timeText(rounds.time(floor)).c_str(), rounds.ratio(ours, floor));
   }

   bool missed_ = false;
};

}  // namespace Bench
