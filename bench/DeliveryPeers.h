// The contenders that are notified of a change: a reactor, a virtual function and a slot of sigc++. All do
// the same work, in a translation unit of their own, so that the compiler cannot inline it into the caller.
#pragma once

#include <sigc++/sigc++.h>

#include <memory>
#include <utility>

#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Notifiee.h"

namespace Bench {

class Gauge : public Pelm::Node {
 public:
   Vorn::Attribute<int, Gauge> level{*this, "level"};
   void levelIs(int value) { level.valueIs(value); }
};

// A machine, as every reactor of the library belongs to one.
class GaugeReactor : public Pelm::Node {
 public:
   explicit GaugeReactor(Pelm::Ptr<Gauge> const & gauge);
   int level() const { return level_; }

 private:
   void handleLevel(Vorn::Change<int> const & change);

   int level_ = 0;
   Vorn::NotifieeConst reactor_;
};

class Listener {
 public:
   virtual ~Listener() = default;
   virtual void handleLevel(int old, int now) = 0;
   virtual int level() const = 0;
};

std::unique_ptr<Listener> makeListener();

// A minimal observable value: one listener, and no change during a notification.
class ListenedGauge {
 public:
   explicit ListenedGauge(Listener & listener) : listener_{listener} {}
   void levelIs(int value) {
      if (value != level_)
         listener_.handleLevel(std::exchange(level_, value), value);
   }

 private:
   Listener & listener_;
   int level_ = 0;
};

// A class with an observable value by sigc++.
class SignallingGauge {
 public:
   sigc::signal<void(int, int)> levelChanged;
   void levelIs(int value) {
      if (value != level_) {
         int const old = std::exchange(level_, value);
         levelChanged.emit(old, value);
      }
   }

 private:
   int level_ = 0;
};

class SlotOwner : public sigc::trackable {
 public:
   explicit SlotOwner(SignallingGauge & gauge);
   int level() const { return level_; }

 private:
   void handleLevel(int old, int now);

   int level_ = 0;
};

}  // namespace Bench
