// The disks that have changed, in the order of their latest changes. A disk stands in it once, however often
// it changes.
#pragma once

#include <cstdint>
#include <map>

#include "runtime/Pelm/String.h"

namespace Agent {

class ChangeLog {
 public:
   using Changes = std::map<std::uint64_t, Pelm::String>;  // by the number of the change, 1 or more

   void add(Pelm::String const & serial);
   // Forgets changes up to that number.
   void forget(std::uint64_t number);

   // The number of the latest change; 0 before the first.
   std::uint64_t last() const { return last_; }
   // Those after that number.
   Changes::const_iterator after(std::uint64_t number) const { return changes_.upper_bound(number); }
   Changes::const_iterator end() const { return changes_.end(); }

 private:
   std::uint64_t last_ = 0;
   Changes changes_;
   std::map<Pelm::String, std::uint64_t> numbers_;
};

}  // namespace Agent
