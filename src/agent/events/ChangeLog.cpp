#include "agent/events/ChangeLog.h"

namespace Agent {

void ChangeLog::add(Pelm::String const & serial) {
   std::uint64_t & number = numbers_[serial];
   auto change = changes_.extract(number);
   number = ++last_;
   if (change) {
      change.key() = number;
      changes_.insert(std::move(change));
   } else {
      changes_.emplace(number, serial);
   }
}

void ChangeLog::forget(std::uint64_t number) {
   auto const stay = changes_.upper_bound(number);
   for (auto change = changes_.begin(); change != stay; change = changes_.erase(change))
      numbers_.erase(change->second);
}

}  // namespace Agent
