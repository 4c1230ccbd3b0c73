// Counts and keeps the changes of one attribute or collection while it lives.
#pragma once

#include <type_traits>
#include <vector>

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Notifiee.h"

namespace Support {

template <class Cell>
class ChangeRecorder {
 public:
   using Change = Vorn::Change<typename Cell::Value>;

   explicit ChangeRecorder(Cell const & cell) {
      reactor_.notifierIs(Pelm::Ptr<Pelm::Node const>{&cell.owner()});
      reactor_.template on<&ChangeRecorder::handleChange>(cell, *this);
      reactor_.hasNotificationActiveIs(true);
   }

   std::vector<Change> const & changes() const { return changes_; }
   std::size_t count() const { return changes_.size(); }

 private:
   void handleChange(Change const & change) { changes_.push_back(change); }

   std::vector<Change> changes_;
   Vorn::NotifieeConst reactor_;
};

}  // namespace Support
