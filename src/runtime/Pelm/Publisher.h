// The subscribers of one attribute.
//
// Everything here runs on the reactor thread. At most one change is delivered at a time; the runtime queues
// the others. So removing a subscriber during a delivery only has to adjust the delivery's cursor.
#pragma once

#include <cstdint>

#include "runtime/Export.h"

namespace Pelm {

class Publisher;

// One subscription, owned by its reactor. Its destruction unlinks it, also while it is being notified; so
// does that of its publisher.
class VORN_API Subscriber {
 public:
   // `key` is null for a scalar attribute; `change` points to the attribute's own change record.
   using Deliver = void (*)(Subscriber & subscriber, void const * key, void const * change) noexcept;

   // `target` is passed back by `target()`, and must outlive this.
   Subscriber(Deliver deliver, void * target) : deliver_{deliver}, target_{target} {}
   Subscriber(Subscriber const &) = delete;
   Subscriber & operator=(Subscriber const &) = delete;
   ~Subscriber();

   void * target() const { return target_; }

   // Whether changes made from now on are delivered; off at first.
   void activeIs(bool active);

 private:
   friend class Publisher;
   friend class Delivery;
   static constexpr std::uint64_t inactive = UINT64_MAX;

   Deliver deliver_;
   void * target_;
   std::uint64_t since_ = inactive;  // the latest change that it must not be notified of
   Publisher * publisher_ = nullptr;
   Subscriber * previous_ = nullptr;
   Subscriber * next_ = nullptr;
};

// Part of an attribute. Subscribers are notified in the order in which they were added.
class VORN_API Publisher {
 public:
   Publisher() = default;
   Publisher(Publisher const &) = delete;
   Publisher & operator=(Publisher const &) = delete;
   ~Publisher();

   // The subscriber has no other publisher. Takes time proportional to the number of subscribers.
   void subscriberAdd(Subscriber & subscriber);
   // The subscriber must be one of this publisher. A notification that it has not got yet is lost.
   void subscriberRemove(Subscriber & subscriber);
   bool hasSubscribers() const { return first_ != nullptr; }

 private:
   friend class Delivery;
   Subscriber * first_ = nullptr;
};

}  // namespace Pelm
