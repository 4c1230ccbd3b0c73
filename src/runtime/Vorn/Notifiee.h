// Reactors: objects that watch one notifier and call handlers when its attributes change.
//
// A machine has a reactor as a member, declared last. It is connected before it is switched on, which is the
// work of `handleInitialized`:
//
//    devicesReactor_.notifierIs(devices_);
//    devicesReactor_.on<&Monitor::handleDisk>(devices_->disk, *this);
//    devicesReactor_.hasNotificationActiveIs(true);
//
// A handler takes nothing, the key of the changed member, the change record, or key and record.
// It may change or drop its notifier, its own and other reactors, and any machine. A machine stays whole
// until its handler returns, also when its last user goes meanwhile; from then on none of its reactors calls
// it. A handler that goes on after that can ask `nodeFlag(Flag::zombie)`.
#pragma once

#include <cassert>
#include <concepts>
#include <memory>
#include <type_traits>
#include <vector>

#include "runtime/Export.h"
#include "runtime/Pelm/Delivery.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/HandlerCall.h"

namespace Vorn {

namespace detail {

template <class T>
using Plain = std::remove_cvref_t<T>;

// Calls a handler with the arguments of its signature. Their types must be the cell's: nothing is converted.
template <auto handler>
struct Call;

template <class Machine, void (Machine::*handler)()>
struct Call<handler> {
   using Of = Machine;
   template <class Cell>
   static constexpr bool fits = true;
   template <class Cell>
   static void run(Machine & machine, void const *, void const *) {
      (machine.*handler)();
   }
};

template <class Machine, class A, void (Machine::*handler)(A)>
struct Call<handler> {
   using Of = Machine;
   template <class Cell>
   static constexpr bool takesKey = std::is_same_v<Plain<A>, typename Cell::Key>;
   template <class Cell>
   static constexpr bool takesChange = std::is_same_v<Plain<A>, Change<typename Cell::Value>>;
   template <class Cell>
   static constexpr bool fits = takesKey<Cell> || takesChange<Cell>;
   template <class Cell>
   static void run(Machine & machine, void const * key, void const * change) {
      (machine.*handler)(*static_cast<Plain<A> const *>(takesKey<Cell> ? key : change));
   }
};

template <class Machine, class A, class B, void (Machine::*handler)(A, B)>
struct Call<handler> {
   using Of = Machine;
   template <class Cell>
   static constexpr bool fits =
       std::is_same_v<Plain<A>, typename Cell::Key> && std::is_same_v<Plain<B>, Change<typename Cell::Value>>;
   template <class Cell>
   static void run(Machine & machine, void const * key, void const * change) {
      (machine.*handler)(*static_cast<Plain<A> const *>(key), *static_cast<Plain<B> const *>(change));
   }
};

template <auto handler, class Cell>
void dispatch(Pelm::Subscriber & subscriber, void const * key, void const * change) noexcept {
   using Handler = Call<handler>;
   auto & machine = *static_cast<typename Handler::Of *>(subscriber.target());
   Vorn::callHandler(machine, [&] { Handler::template run<Cell>(machine, key, change); });
}

}  // namespace detail

class VORN_API NotifieeConst : public Pelm::Node, private Pelm::OwnReactor {
 public:
   NotifieeConst() = default;
   ~NotifieeConst() override;

   // Watches another notifier; null: none. Ends the subscriptions at the old one. The reactor keeps its
   // notifier, so two machines that watch each other are never destroyed.
   void notifierIs(Pelm::Ptr<Pelm::Node const> notifier);
   Pelm::Ptr<Pelm::Node const> const & notifier() const { return notifier_; }

   // Whether changes made from now on are delivered; off at first. A change made while it was off is never
   // delivered: whoever switches it on reads the current values first.
   void hasNotificationActiveIs(bool active);
   bool hasNotificationActive() const { return active_; }

   // Whether the activity manager counts this reactor as registered; false at first. It changes no delivery.
   void isRegisteredNotifieeIs(bool registered);
   bool isRegisteredNotifiee() const { return registered_; }

   // The machine with which the reactor stops: that of its latest handler, unless set after that.
   void machineIs(Pelm::Node const * machine) { ownerIs(machine); }

   // Subscribes a handler to an attribute of the notifier, which must be set before. A handler that is
   // subscribed twice is called twice. Handlers of one attribute are called in the order of these calls.
   template <auto handler, class Cell>
   void on(Cell const & cell, typename detail::Call<handler>::Of & machine) {
      static_assert(detail::Call<handler>::template fits<Cell>,
                    "the handler must take the attribute's own key and change types");
      assert(
          &cell.owner() == notifier_.get() &&
          "a reactor watches attributes of its notifier alone: call notifierIs with their owner before on");
      if constexpr (std::derived_from<typename detail::Call<handler>::Of, Pelm::Node>)
         machineIs(&machine);
      subscribe(cell.publisher(), &detail::dispatch<handler, Cell>, &machine);
   }

   void vornDoZombieReactors(bool zombie) override;

 private:
   void subscribe(Pelm::Publisher & publisher, Pelm::Subscriber::Deliver deliver, void * target);
   void stoppedIs(bool stopped) override;
   void switchSubscriptions();

   Pelm::Ptr<Pelm::Node const> notifier_;
   std::vector<std::unique_ptr<Pelm::Subscriber>> subscriptions_;
   bool active_ = false;
   bool stopped_ = false;
   bool registered_ = false;
};

}  // namespace Vorn
