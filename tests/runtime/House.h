// An entity with an attribute of each kind, and reactors that record their notifications.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Collection.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/Vorn/Queue.h"

namespace RuntimeTest {

class House : public Pelm::Node {
 public:
   House() = default;
   explicit House(bool & gone) : gone_{&gone} {}
   ~House() override {
      if (gone_)
         *gone_ = true;
   }

   Vorn::Attribute<int, House> door{*this, "door"};
   void doorIs(int value) { door.valueIs(value); }
   Vorn::Attribute<unsigned, House> visits{*this, "visits"};
   void visitsInc(unsigned n) { visits.valueIs(visits() + n); }
   Vorn::Collection<Pelm::String, int, House> lamp{*this, "lamp"};
   void lampIs(Pelm::String const & name, int value) { lamp.memberIs(name, value); }
   void lampDel(Pelm::String const & name) { lamp.memberDel(name); }
   void lampDelAll() { lamp.memberDelAll(); }
   Vorn::Queue<Pelm::String, House> guest{*this, "guest"};
   void guestPush(Pelm::String value) { guest.push(std::move(value)); }
   void guestPop() { guest.pop(); }
   void guestPopAll() { guest.popAll(); }
   void guestIs(std::size_t index, Pelm::String value) { guest.elementIs(index, std::move(value)); }

 private:
   bool * gone_ = nullptr;
};

template <class T>
std::string text(Vorn::Optional<T> const & value) {
   return value ? std::to_string(*value) : "none";
}
inline std::string text(Vorn::Optional<Pelm::String> const & value) {
   return value ? value->str() : "none";
}

// Watches a house, adds its notifications to a list, and then runs an action of the test.
class Watcher {
 public:
   using Then = std::function<void()>;

   Watcher(Pelm::Ptr<House> const & house, std::vector<std::string> & events, std::string name,
           Then action = {})
       : name_{std::move(name)}, events_{events}, then{std::move(action)} {
      reactor.notifierIs(house);
      reactor.on<&Watcher::handleDoor>(house->door, *this);
      reactor.on<&Watcher::handleLamp>(house->lamp, *this);
      reactor.on<&Watcher::handleGuest>(house->guest, *this);
      reactor.hasNotificationActiveIs(true);
   }

   void handleDoor(Vorn::Change<int> const & change) {
      note("door " + text(change.old) + ">" + text(change.now));
   }
   void handleLamp(Pelm::String const & key, Vorn::Change<int> const & change) {
      note("lamp " + key.str() + " " + text(change.old) + ">" + text(change.now));
   }
   void handleGuest(std::size_t const & index, Vorn::Change<Pelm::String> const & change) {
      note("guest " + std::to_string(index) + " " + text(change.old) + ">" + text(change.now));
   }

 private:
   // What follows may destroy this watcher.
   void note(std::string const & what) {
      events_.push_back(name_ + ":" + what);
      if (Then const next = then)
         next();
   }

   std::string name_;
   std::vector<std::string> & events_;

 public:
   Then then;
   Vorn::NotifieeConst reactor;
};

}  // namespace RuntimeTest
