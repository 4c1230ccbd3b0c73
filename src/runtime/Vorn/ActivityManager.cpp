#include "runtime/Vorn/ActivityManager.h"

namespace Vorn {

ActivityManager & activityManager() {
   // Never destroyed, since reactors of static storage may be destroyed later.
   static auto * const manager = new Pelm::Ptr<ActivityManager>{Pelm::make<ActivityManager>()};
   return **manager;
}

Pelm::Ptr<Clock> detail::activityClock() {
   return activityManager().config()->clock();
}

}  // namespace Vorn
