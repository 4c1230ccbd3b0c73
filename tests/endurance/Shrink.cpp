#include "tests/endurance/Shrink.h"

#include <algorithm>
#include <cmath>

namespace Endurance {

namespace {

constexpr double hour = 3600;

// The events of the last part of the span, as if the run had begun there.
Script lastPart(Script const & script, double span, double part) {
   constexpr double minute = 60;
   double const begin = std::max(0.0, std::floor((span - part) / minute) * minute);
   Script late;
   for (Event event : script)
      if (event.time >= begin && event.time < span) {
         event.time -= begin;
         late.push_back(event);
      }
   return late;
}

// Leaves out pieces of that size, one after the other, that the failure does not need.
Script without(Script script, std::size_t size, double span, Fails const & fails) {
   for (std::size_t at = 0; at < script.size();) {
      Script fewer = script;
      auto const begin = fewer.begin() + static_cast<std::ptrdiff_t>(at);
      fewer.erase(begin, begin + static_cast<std::ptrdiff_t>(std::min(size, script.size() - at)));
      if (fails(fewer, span))
         script = std::move(fewer);
      else
         at += size;
   }
   return script;
}

// With no gap between events longer than that, a whole number of hours; so each event keeps its place in the
// hour.
Script withoutLongGaps(Script script, double longest, double & span) {
   double saved = 0;
   double before = 0;
   auto const moved = [&](double time) {
      saved += std::max(0.0, std::floor((time - before - longest) / hour) * hour);
      before = time;
      return time - saved;
   };
   for (Event & event : script)
      event.time = moved(event.time);
   span = moved(span);
   return script;
}

// The failure, as soon as possible: days in which nothing happens take the longest to run.
Script shortenGaps(Script script, double & span, Fails const & fails) {
   for (double longest = hour; longest < span; longest *= 4) {
      double shorter = span;
      Script const dense = withoutLongGaps(script, longest, shorter);
      if (shorter == span)
         break;
      if (!fails(dense, shorter))
         continue;
      span = shorter;
      return dense;
   }
   return script;
}

}  // namespace

Script shrink(Script script, double & span, Fails const & fails) {
   for (double part = 2 * hour; part < span; part *= 3) {
      double const begin = std::max(0.0, std::floor((span - part) / 60) * 60);
      Script const late = lastPart(script, span, part);
      if (!fails(late, span - begin))
         continue;
      script = late;
      span -= begin;
      break;
   }
   for (std::size_t size = script.size(); size > 0; size /= 2) {
      script = shortenGaps(std::move(script), span, fails);
      script = without(std::move(script), size, span, fails);
   }
   return shortenGaps(std::move(script), span, fails);
}

}  // namespace Endurance
