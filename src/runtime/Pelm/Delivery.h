// The order in which changes reach reactors, for the whole process.
//
// The outermost change is delivered before its mutator returns. A change made inside a handler is queued and
// delivered, in order, before that outermost mutator returns. So every reactor sees changes in the order in
// which they happened, and none sees a stale value last.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/Publisher.h"

namespace Pelm {

// A queued change. It keeps its notifier, and so the publisher, whole.
class VORN_API PendingChange {
 public:
   PendingChange(Node const & notifier, Publisher & publisher) : notifier_{notifier}, publisher_{publisher} {}
   PendingChange(PendingChange const &) = delete;
   PendingChange & operator=(PendingChange const &) = delete;
   virtual ~PendingChange();

   // The arguments of Subscriber::Deliver. They live as long as this.
   virtual void const * key() const = 0;
   virtual void const * change() const = 0;

 private:
   friend class Delivery;
   KeepAlive notifier_;
   Publisher & publisher_;
   std::uint64_t sequence_ = 0;
   PendingChange * next_ = nullptr;
};

class VORN_API Delivery {
 public:
   constexpr Delivery() = default;
   Delivery(Delivery const &) = delete;
   Delivery & operator=(Delivery const &) = delete;

   // The number of the latest change; changes count from 1.
   std::uint64_t sequence() const { return sequence_; }
   // Whether a change is being delivered, so that a further one must be queued.
   bool busy() const { return notifier_.load(std::memory_order_relaxed) != nullptr; }

   // Delivers at once. Only for the outermost change (`busy()` is false), and if there are subscribers. The
   // notifier stays whole until all of them are notified. If its last user goes meanwhile, its own reactors
   // are off from then on.
   void deliverOutermost(Node const & notifier, Publisher & publisher, void const * key,
                         void const * change) noexcept {
      if (detail::threadsAreEnabled.load(std::memory_order_relaxed)) [[unlikely]]
         return deliverAmongThreads(notifier, publisher, key, change);
      // Changing the use count would double the cost of a delivery.
      notifyAll(notifier, publisher, key, change);
      notifier.goIfUnused();
   }

   // Whether the outermost change is the node's, which therefore must not be destroyed yet.
   bool isNotifying(Node const & node) const { return notifier_.load(std::memory_order_relaxed) == &node; }

   // Only while `busy()`. Delivered behind the changes that are queued already, and then destroyed.
   void enqueue(std::unique_ptr<PendingChange> pending) noexcept;

   // Skips a leaving subscriber if it would be notified next.
   void subscriberLeaves(Subscriber const & subscriber) {
      if (cursor_ == &subscriber)
         cursor_ = subscriber.next_;
   }

 private:
   void deliverAmongThreads(Node const & notifier, Publisher & publisher, void const * key,
                            void const * change) noexcept;
   void notifyAll(Node const & notifier, Publisher & publisher, void const * key,
                  void const * change) noexcept {
      notifier_.store(&notifier, std::memory_order_relaxed);
      std::uint64_t const sequence = ++sequence_;
      notify(*publisher.first_, key, change, sequence);
      if (cursor_) [[unlikely]]
         notifyRest(key, change, sequence);
      if (first_) [[unlikely]]
         deliverPending();
      notifier_.store(nullptr, std::memory_order_relaxed);
   }
   void notify(Subscriber & subscriber, void const * key, void const * change,
               std::uint64_t sequence) noexcept {
      cursor_ = subscriber.next_;
      if (subscriber.since_ < sequence) [[likely]]
         subscriber.deliver_(subscriber, key, change);
   }
   void notifyRest(void const * key, void const * change, std::uint64_t sequence) noexcept;
   void deliverPending() noexcept;

   std::atomic<Node const *> notifier_ = nullptr;  // of the outermost change; null: there is none
   std::uint64_t sequence_ = 0;
   Subscriber * cursor_ = nullptr;  // next subscriber of the change being delivered
   PendingChange * first_ = nullptr;
   PendingChange * last_ = nullptr;
};

// The only one of the process.
VORN_API extern Delivery delivery;

}  // namespace Pelm
