// Attributes: cells that only their owner writes, and to which reactors subscribe.
//
// An owner declares a cell and, beside it, the mutator that others call:
//
//    Vorn::Attribute<bool, Door> open{*this, "open"};
//    void openIs(bool value) { open.valueIs(value); }
//
// Only the owner's own code can call `valueIs`. Writing the stored value again notifies nobody. If memory
// ends, `valueIs` raises std::bad_alloc, and neither the change nor its notification has happened.
#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

#include "runtime/Pelm/Delivery.h"
#include "runtime/Vorn/Optional.h"

namespace Vorn {

// A change of an attribute. That of a scalar has both values. For a collection's member, an empty `old` means
// added, an empty `now` deleted.
template <class T>
struct Change {
   Optional<T> old;
   Optional<T> now;
};

namespace detail {

template <class Key, class T>
class PendingChangeOf final : public Pelm::PendingChange {
 public:
   PendingChangeOf(Pelm::Node const & notifier, Pelm::Publisher & publisher, Key key, Change<T> change)
       : PendingChange{notifier, publisher}, key_{std::move(key)}, change_{std::move(change)} {}
   void const * key() const override { return &key_; }
   void const * change() const override { return &change_; }
   Change<T> & record() { return change_; }

 private:
   Key key_;
   Change<T> change_;
};

struct NoKey {};

// Not inlined, since most changes are outermost ones.
template <class Key, class T>
[[gnu::noinline, gnu::cold]] std::unique_ptr<PendingChangeOf<Key, T>> pendingChange(
    Pelm::Node const & notifier, Pelm::Publisher & publisher, Key const & key, Change<T> && change) {
   // std::make_unique would be compiled again for every type of change.
   return std::unique_ptr<PendingChangeOf<Key, T>>{
       new PendingChangeOf<Key, T>{notifier, publisher, key, std::move(change)}};
}

// Makes a change and notifies of it, or raises and does neither: all memory is allocated before `make`.
// `make` moves the replaced value into the record. The record is passed by reference, since a copy would be
// made before `make` fills it.
template <class Key, class T, class Make>
[[gnu::always_inline]] inline void publish(Pelm::Node const & notifier, Pelm::Publisher & publisher,
                                           Key const & key, Change<T> && change, Make const & make) {
   static_assert(std::is_nothrow_move_constructible_v<T> && std::is_nothrow_move_assignable_v<T>,
                 "a value that cannot be moved safely might be changed and its notification lost");
   if (Pelm::delivery.busy()) [[unlikely]] {
      auto pending = pendingChange(notifier, publisher, key, std::move(change));
      make(pending->record());
      Pelm::delivery.enqueue(std::move(pending));
   } else {
      make(change);
      Pelm::delivery.deliverOutermost(notifier, publisher, &key, &change);
   }
}

}  // namespace detail

// `T` has ==, and a copy; moving it raises nothing. `id` is the attribute's name; the text must
// outlive the attribute. A floating-point NaN differs from itself, so it is a change at each write.
template <class T, class Owner>
class Attribute {
 public:
   using Key = void;
   using Value = T;

   Attribute(Owner & owner, char const * id, T value = T{})
       : owner_{owner}, id_{id}, value_{std::move(value)} {}
   Attribute(Attribute const &) = delete;
   Attribute & operator=(Attribute const &) = delete;

   // The value now. Inside a handler it may be newer than the change record's. The reference is valid until
   // the next change.
   T const & operator()() const { return value_; }
   char const * id() const { return id_; }

   // For reactors that subscribe.
   Pelm::Node const & owner() const { return owner_; }
   Pelm::Publisher & publisher() const { return publisher_; }

 private:
   friend Owner;

   void valueIs(T value) {
      if (value_ == value)
         return;
      if (!publisher_.hasSubscribers()) {
         value_ = std::move(value);
         return;
      }
      detail::publish(owner_, publisher_, detail::NoKey{}, Change<T>{{}, value}, [&](Change<T> & change) {
         change.old.emplace(std::exchange(value_, std::move(value)));
      });
   }

   Owner & owner_;
   char const * id_;
   mutable Pelm::Publisher publisher_;
   T value_;
};

}  // namespace Vorn
