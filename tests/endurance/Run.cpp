#include "tests/endurance/Run.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

#include "tests/endurance/Model.h"
#include "tests/endurance/Unit.h"

namespace Endurance {

namespace {

namespace fs = std::filesystem;

constexpr double start = 1000;
constexpr double utc = 1700000000;
// Verdicts are compared once a minute, at a time at which nothing happens.
constexpr double compareInterval = 60;
constexpr double compareOffset = 0.9375;
constexpr double month = 30 * 86400.0;

std::size_t entriesOf(char const * folder) {
   return static_cast<std::size_t>(std::distance(fs::directory_iterator{folder}, fs::directory_iterator{}));
}

Holdings holdings(double time) {
   Holdings held{time, 0, entriesOf("/proc/self/fd"), 0};
   std::size_t pages = 0;
   std::ifstream{"/proc/self/statm"} >> pages >> pages;
   held.resident = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / 1024;
   std::ifstream children{"/proc/self/task/" + std::to_string(getpid()) + "/children"};
   for (int child = 0; children >> child;)
      ++held.children;
   return held;
}

std::string text(Message const & message) {
   std::ostringstream out;
   out.precision(12);
   out << message.time - start << " " << message.name;
   for (std::string const & argument : message.arguments)
      out << " \"" << argument << '"';
   return out.str();
}

class Comparison {
 public:
   explicit Comparison(std::function<void(double)> progress) : progress_{std::move(progress)} {}

   Outcome run(Script const & script, double span) {
      unit_.start();
      model_.start();
      compare("at the start");
      double next = compareOffset;
      for (Event const & event : script) {
         if (event.time >= span)
            break;
         minutes(next, event.time);
         happens(event);
         if (differs())
            return outcome_;
      }
      minutes(next, span);
      return outcome_;
   }

 private:
   bool differs() const { return !outcome_.difference.empty(); }

   void minutes(double & next, double until) {
      for (; next < until && !differs(); next += compareInterval) {
         advance(next);
         compare("between events");
         if (next >= nextHolding_) {
            outcome_.holdings.push_back(holdings(next));
            nextHolding_ += month;
         }
      }
      if (!differs())
         advance(until);
   }

   void advance(double time) {
      outcome_.time = time;
      if (progress_)
         progress_(time);
      unit_.advance(start + time);
      model_.advance(start + time);
   }

   void happens(Event const & event) {
      if (differs())
         return;
      std::ostringstream what;
      write(what, {event});
      compare("before: " + what.str());
      if (differs())
         return;
      unit_.apply(event);
      model_.apply(event);
      compare("after: " + what.str());
   }

   void compare(std::string const & when) {
      auto const found = difference();
      if (!found.empty())
         outcome_.difference = when + "\n" + found;
   }

   std::string difference() {
      auto messages = unit_.takeMessages();
      auto expected = model_.takeMessages();
      std::sort(messages.begin(), messages.end());
      std::sort(expected.begin(), expected.end());
      for (Message const & message : messages)
         ++outcome_.messages[message.name];
      std::string found = unit_.failures();
      if (unit_.now() != model_.now())
         found += "the clocks differ\n";
      auto verdicts = unit_.verdicts();
      if (messages != expected)
         found += messageDifference(messages, expected);
      if (auto const wanted = model_.verdicts(); verdicts != wanted)
         found += verdictDifference(verdicts, wanted);
      note(std::move(verdicts));
      return found;
   }

   void note(Verdicts verdicts) {
      if (verdicts == latest_)
         return;
      ++outcome_.verdicts;
      latest_ = std::move(verdicts);
      for (auto const & [serial, reasons] : latest_) {
         std::istringstream words{reasons};
         outcome_.reasons.insert(std::istream_iterator<std::string>{words}, {});
      }
   }

   static std::string messageDifference(std::vector<Message> const & messages,
                                        std::vector<Message> const & expected) {
      std::string found;
      for (Message const & message : messages)
         if (std::find(expected.begin(), expected.end(), message) == expected.end())
            found += "only the unit: " + text(message) + "\n";
      for (Message const & message : expected)
         if (std::find(messages.begin(), messages.end(), message) == messages.end())
            found += "only the model: " + text(message) + "\n";
      return found.empty() ? "a message came another number of times\n" : found;
   }

   static std::string verdictDifference(Verdicts const & verdicts, Verdicts const & expected) {
      std::string found;
      auto const line = [&found](char const * who, auto const & verdict) {
         found += std::string{who} + verdict.first + ": " + (verdict.second.empty() ? "ok" : verdict.second) +
                  "\n";
      };
      for (auto const & each : verdicts)
         if (auto const other = expected.find(each.first);
             other == expected.end() || other->second != each.second)
            line("the unit: ", each);
      for (auto const & each : expected)
         if (auto const other = verdicts.find(each.first);
             other == verdicts.end() || other->second != each.second)
            line("the model: ", each);
      return found;
   }

   std::function<void(double)> progress_;
   Unit unit_{start, utc};
   Model model_{start, utc};
   Outcome outcome_;
   Verdicts latest_;
   double nextHolding_ = month;
};

}  // namespace

Outcome run(Script const & script, double span, std::function<void(double time)> const & progress) {
   return Comparison{progress}.run(script, span);
}

}  // namespace Endurance
