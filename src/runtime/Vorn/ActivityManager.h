// The process's only activity manager: its clock, its descriptors, and the turns in which it calls handlers.
// Monitors use only the clock, through the configuration. The host runs the turns (runtime/host/Loop.h).
#pragma once

#include <cstdint>

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Clock.h"

namespace Vorn {

class VORN_API ActivityManager : public Pelm::Node {
 public:
   class Config : public Pelm::Node {
    public:
      // The clock of every Clock::Notifiee; never null.
      Pelm::Ptr<Clock> const & clock() const { return clock_; }

    private:
      Pelm::Ptr<Clock> clock_ = Pelm::make<Clock>();
   };

   Pelm::Ptr<Config> const & config() const { return config_; }

   // The number of reactors with `isRegisteredNotifieeIs(true)`. The runtime does not use it.
   std::int64_t registeredNotifiees() const { return registeredNotifiees_; }
   // Called by the reactors themselves; a negative number takes away.
   void registeredNotifieesInc(std::int64_t n) { registeredNotifiees_ += n; }

   // The number of running child processes. While it is above 0, virtual time does not jump.
   std::int64_t outsideWork() const { return outsideWork_; }
   void outsideWorkInc(std::int64_t n) { outsideWork_ += n; }

 private:
   Pelm::Ptr<Config> config_ = Pelm::make<Config>();
   std::int64_t registeredNotifiees_ = 0;
   std::int64_t outsideWork_ = 0;
};

// Made at the first call and never destroyed. Reactor thread only.
VORN_API ActivityManager & activityManager();

}  // namespace Vorn
