// The order in which changes reach reactors, for the whole process.
//
// The outermost change is delivered before its mutator returns. A change made inside a handler is
// queued and delivered, in order, before that outermost mutator returns: every reactor sees changes
// in the order in which they happened, and none sees a stale value last.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/Publisher.h"

namespace Pelm {

// A change that waits for its turn. It keeps its notifier, and so the publisher, alive.
class RUNTIME_API PendingChange {
 public:
   PendingChange(Node const & notifier, Publisher & publisher)
       : notifier_{&notifier}, publisher_{publisher} {}
   PendingChange(PendingChange const &) = delete;
   PendingChange & operator=(PendingChange const &) = delete;
   virtual ~PendingChange();

   virtual void const * key() const = 0;
   virtual void const * change() const = 0;

 private:
   friend class Delivery;
   Ptr<Node const> notifier_;
   Publisher & publisher_;
   std::uint64_t sequence_ = 0;
   PendingChange * next_ = nullptr;
};

class RUNTIME_API Delivery {
 public:
   constexpr Delivery() = default;
   Delivery(Delivery const &) = delete;
   Delivery & operator=(Delivery const &) = delete;

   // The number of the latest change; changes count from 1.
   std::uint64_t sequence() const { return sequence_; }
   bool busy() const { return busy_; }

   // Delivers at once. Only for the outermost change: `busy()` is false.
   void deliverOutermost(Node const & notifier, Publisher & publisher, void const * key,
                         void const * change) {
      Ptr<Node const> const keepAlive{&notifier};
      busy_ = true;
      deliver(publisher, key, change, ++sequence_);
      if (first_) [[unlikely]]
         deliverPending();
      busy_ = false;
   }

   void enqueue(std::unique_ptr<PendingChange> pending);

   // A subscriber leaves; if its turn was next, the one after it is next now.
   void subscriberLeaves(Subscriber const & subscriber) {
      if (cursor_ == &subscriber)
         cursor_ = subscriber.next_;
   }

 private:
   void deliver(Publisher & publisher, void const * key, void const * change, std::uint64_t sequence) {
      cursor_ = publisher.first_;
      while (Subscriber * const subscriber = cursor_) {
         cursor_ = subscriber->next_;
         if (subscriber->since_ < sequence)
            subscriber->deliver_(*subscriber, key, change);
      }
   }
   void deliverPending();

   bool busy_ = false;
   std::uint64_t sequence_ = 0;
   Subscriber * cursor_ = nullptr;  // whose turn is next in the change being delivered
   PendingChange * first_ = nullptr;
   PendingChange * last_ = nullptr;
};

RUNTIME_API extern Delivery delivery;

}  // namespace Pelm
