#include "runtime/Vorn/Notifiee.h"

#include "runtime/Vorn/ActivityManager.h"

namespace Vorn {

NotifieeConst::~NotifieeConst() {
   isRegisteredNotifieeIs(false);
}

void NotifieeConst::notifierIs(Pelm::Ptr<Pelm::Node const> notifier) {
   if (notifier == notifier_)
      return;
   // The subscriptions belong to cells of the old notifier, so they end before it may be destroyed.
   subscriptions_.clear();
   notifier_ = std::move(notifier);
}

void NotifieeConst::hasNotificationActiveIs(bool active) {
   if (active == active_)
      return;
   active_ = active;
   switchSubscriptions();
}

void NotifieeConst::stoppedIs(bool stopped) {
   if (stopped == stopped_)
      return;
   stopped_ = stopped;
   switchSubscriptions();
}

void NotifieeConst::switchSubscriptions() {
   for (auto const & subscription : subscriptions_)
      subscription->activeIs(active_ && !stopped_);
}

void NotifieeConst::isRegisteredNotifieeIs(bool registered) {
   if (registered == registered_)
      return;
   registered_ = registered;
   activityManager().registeredNotifieesInc(registered ? 1 : -1);
}

void NotifieeConst::vornDoZombieReactors(bool zombie) {
   hasNotificationActiveIs(!zombie);
}

void NotifieeConst::subscribe(Pelm::Publisher & publisher, Pelm::Subscriber::Deliver deliver, void * target) {
   auto subscription = std::make_unique<Pelm::Subscriber>(deliver, target);
   publisher.subscriberAdd(*subscription);
   subscription->activeIs(active_ && !stopped_);
   subscriptions_.push_back(std::move(subscription));
}

}  // namespace Vorn
