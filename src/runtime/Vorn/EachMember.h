// Reactors for the members of a collection of records: one attribute of each, and the member's key with every
// change of it.
#pragma once

#include <utility>

#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/HandlerCall.h"
#include "runtime/Vorn/HashMap2018.h"
#include "runtime/Vorn/Notifiee.h"

namespace Vorn {

namespace detail {

template <auto handler>
struct KeyHandler;
template <class Machine, class Key, void (Machine::*handler)(Key const &)>
struct KeyHandler<handler> {
   using Of = Machine;
   using KeyOf = Key;
};
template <class Machine, class Key, class T, void (Machine::*handler)(Key const &, Change<T> const &)>
struct KeyHandler<handler> {
   using Of = Machine;
   using KeyOf = Key;
};

template <auto member>
struct CellIn;
template <class Node, class Cell, Cell Node::*cell>
struct CellIn<cell> {
   using Of = Node;
   using CellOf = Cell;
};

}  // namespace detail

// The reactor of one member, for a machine that keeps its reactors in a collection of its own:
//
//    using NestedSm_Record = Vorn::MemberReactor<&Monitor::handleLife>;
//    recordIs: record_.memberIs(name, Pelm::make<NestedSm_Record>(*this, name, record->life));
//
// The handler takes the key, or the key and the change record. The reactor is active from construction, and
// stops with the machine. The handler may delete it.
template <auto handler>
class MemberReactor : public NotifieeConst {
 public:
   using Machine = typename detail::KeyHandler<handler>::Of;
   using Key = typename detail::KeyHandler<handler>::KeyOf;

   // `cell` is the attribute of the record; the reactor keeps the record. The machine must outlive the
   // reactor.
   template <class Cell>
   MemberReactor(Machine & machine, Key key, Cell const & cell) : machine_{machine}, key_{std::move(key)} {
      notifierIs(Pelm::Ptr<Pelm::Node const>{&cell.owner()});
      on<&MemberReactor::handleMember<typename Cell::Value>>(cell, *this);
      machineIs(&machine);
      hasNotificationActiveIs(true);
   }

 private:
   template <class T>
   void handleMember(Change<T> const & change) {
      Vorn::callHandler(machine_, [&] {
         if constexpr (requires { (machine_.*handler)(key_, change); })
            (machine_.*handler)(key_, change);
         else
            (machine_.*handler)(key_);
      });
   }

   Machine & machine_;
   Key key_;
};

// Watches one attribute of every member of a collection, of those that come later too:
//
//    Vorn::EachMember<&Monitor::handleLife, &Records::record, &Record::life> life_{*this};
//    life_.notifierIs(records_);
//
// A member that is replaced is watched in its new place; its former one is not.
template <auto handler, auto collection, auto attribute>
class EachMember {
   using Reactor = MemberReactor<handler>;
   using Machine = typename Reactor::Machine;
   using Key = typename Reactor::Key;
   using Records = typename detail::CellIn<collection>::Of;

 public:
   explicit EachMember(Machine & machine) : machine_{machine} {}
   EachMember(EachMember const &) = delete;
   EachMember & operator=(EachMember const &) = delete;

   // Call it once, with records that are not null. Begins with the members that are there. The handler is
   // called for changes from now on, not for the values that the members have already.
   void notifierIs(Pelm::Ptr<Records const> records) {
      records_ = std::move(records);
      reactor_.notifierIs(records_);
      reactor_.template on<&EachMember::memberIs>((*records_).*collection, *this);
      reactor_.machineIs(&machine_);
      reactor_.hasNotificationActiveIs(true);
      for (auto const & [key, member] : (*records_).*collection)
         memberIs(key);
   }

   // Watches the member as it is now, or no longer if it is gone.
   void memberIs(Key const & key) {
      Vorn::callHandler(machine_, [&] {
         reactors_.erase(key);
         if (auto const member = ((*records_).*collection)(key))
            reactors_.insert(key, Pelm::make<Reactor>(machine_, key, (*member).*attribute));
      });
   }

 private:
   Machine & machine_;
   Pelm::Ptr<Records const> records_;
   HashMap2018<Key, Pelm::Ptr<Reactor>> reactors_;
   NotifieeConst reactor_;
};

}  // namespace Vorn
