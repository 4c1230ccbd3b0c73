// Acts once, the first time that an attribute is given a value.
#pragma once

#include <functional>
#include <utility>

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Notifiee.h"

namespace Support {

template <class Cell>
class WhenChanged {
 public:
   using Value = typename Cell::Value;

   WhenChanged(Cell const & cell, Value value, std::function<void()> action)
       : value_{std::move(value)}, action_{std::move(action)} {
      reactor_.notifierIs(Pelm::Ptr<Pelm::Node const>{&cell.owner()});
      reactor_.template on<&WhenChanged::handleChange>(cell, *this);
      reactor_.hasNotificationActiveIs(true);
   }

 private:
   void handleChange(Vorn::Change<Value> const & change) {
      if (*change.now != value_)
         return;
      reactor_.notifierIs(nullptr);  // the action may drop the owner
      action_();
   }

   Value value_;
   std::function<void()> action_;
   Vorn::NotifieeConst reactor_;
};

}  // namespace Support
