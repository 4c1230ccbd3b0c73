#include "agent/history/History.h"

#include <algorithm>

#include "agent/verdict/DiskRecords.h"

namespace Agent {

namespace {

// After the beginning of a poll: by then the tools have ended, as a rule.
Vorn::Seconds delayOf(Vorn::Seconds interval) {
   constexpr Vorn::Seconds usualDelay = 5;
   return std::min(usualDelay, interval / 2);
}

}  // namespace

History::History(Entities const & entities, Vorn::Seconds span) : entities_{entities}, span_{span} {
   intervalReactor_.notifierIs(entities.pollInterval);
   intervalReactor_.on<&History::handleInterval>(entities.pollInterval->interval, *this);
   intervalReactor_.hasNotificationActiveIs(true);
   handleInterval();
}

// A change makes the monitors poll at once.
void History::handleInterval() {
   clock_.timeMinIs(Vorn::System::currentTime() + delayOf(entities_.pollInterval->interval()));
}

void History::handleClock() {
   Vorn::Seconds const now = Vorn::System::currentTime();
   Vorn::Seconds const interval = entities_.pollInterval->interval();
   clock_.timeMinIs(now + interval);
   if (span_ <= 0)
      return;
   forgetOld(now);
   addRows(now, interval);
   lastInterval_ = interval;
}

void History::addRows(Vorn::Seconds now, Vorn::Seconds interval) {
   for (auto const & [serial, disk] : entities_.devices->disk) {
      HistoryRow const row = historyRowOf(healthRecordsOf(serial, entities_), now, interval);
      if (!row.isEmpty())
         disks_.try_emplace(serial, span_).first->second.add(row, std::max(interval, lastInterval_));
   }
}

// Disks of which no row is left, and those that are gone beyond the bound.
void History::forgetOld(Vorn::Seconds now) {
   std::erase_if(disks_, [&](auto const & each) {
      return each.second.latest().value_or(now - span_) <= now - span_ && !isConnected(each.first);
   });
   std::multimap<Vorn::Seconds, Pelm::String> gone;
   for (auto const & [serial, history] : disks_)
      if (!isConnected(serial))
         gone.emplace(history.latest().value_or(now), serial);
   for (auto at = gone.begin(); gone.size() > mostGone; at = gone.erase(at))
      disks_.erase(at->second);
}

DiskHistory const * History::disk(Pelm::String const & serial) const {
   auto const found = disks_.find(serial);
   return found == disks_.end() ? nullptr : &found->second;
}

DiskHistory & History::diskIs(Pelm::String const & serial) {
   return disks_.insert_or_assign(serial, DiskHistory{span_}).first->second;
}

void History::forgetGone() {
   std::erase_if(disks_, [this](auto const & each) { return !isConnected(each.first); });
}

bool History::isConnected(Pelm::String const & serial) const {
   return entities_.devices->disk.contains(serial);
}

}  // namespace Agent
