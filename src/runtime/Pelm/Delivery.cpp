#include "runtime/Pelm/Delivery.h"

#include <cassert>

namespace Pelm {

constinit Delivery delivery;

PendingChange::~PendingChange() = default;

void Delivery::enqueue(std::unique_ptr<PendingChange> pending) noexcept {
   pending->sequence_ = ++sequence_;
   PendingChange * const added = pending.release();
   (last_ ? last_->next_ : first_) = added;
   last_ = added;
}

void Delivery::deliverAmongThreads(Node const & notifier, Publisher & publisher, void const * key,
                                   void const * change) noexcept {
   // Another thread may drop its last pointer at any moment, so the use count must keep it.
   KeepAlive const keepAlive{notifier};
   notifyAll(notifier, publisher, key, change);
}

void Delivery::notifyRest(void const * key, void const * change, std::uint64_t sequence) noexcept {
   while (cursor_)
      notify(*cursor_, key, change, sequence);
}

void Delivery::deliverPending() noexcept {
   while (first_) {
      std::unique_ptr<PendingChange> const pending{first_};
      first_ = pending->next_;
      if (!first_)
         last_ = nullptr;
      cursor_ = pending->publisher_.first_;
      notifyRest(pending->key(), pending->change(), pending->sequence_);
   }
}

Subscriber::~Subscriber() {
   if (publisher_)
      publisher_->subscriberRemove(*this);
}

void Subscriber::activeIs(bool active) {
   since_ = active ? delivery.sequence() : inactive;
}

Publisher::~Publisher() {
   while (first_)
      subscriberRemove(*first_);
}

void Publisher::subscriberAdd(Subscriber & subscriber) {
   assert(!subscriber.publisher_);
   Subscriber * last = first_;
   while (last && last->next_)
      last = last->next_;
   (last ? last->next_ : first_) = &subscriber;
   subscriber.previous_ = last;
   subscriber.next_ = nullptr;
   subscriber.publisher_ = this;
}

void Publisher::subscriberRemove(Subscriber & subscriber) {
   assert(subscriber.publisher_ == this);
   delivery.subscriberLeaves(subscriber);
   (subscriber.previous_ ? subscriber.previous_->next_ : first_) = subscriber.next_;
   if (subscriber.next_)
      subscriber.next_->previous_ = subscriber.previous_;
   subscriber.publisher_ = nullptr;
   subscriber.previous_ = subscriber.next_ = nullptr;
}

}  // namespace Pelm
