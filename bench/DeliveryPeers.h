// Those who are told of a change: a reactor, a virtual function and a slot of sigc++. Their code is in
// a translation unit of its own, where the compiler of the caller cannot look; all do the same work.
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

class GaugeReactor {
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

// An observable value as plain as can be: it has one listener and nothing may happen meanwhile.
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

// What a class with an observable value is with sigc++.
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
