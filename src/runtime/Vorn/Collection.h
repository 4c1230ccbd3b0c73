// Collection attributes: members with keys, added, replaced and deleted one by one.
//
// Everybody reads, only the owner writes. Each change notifies the subscribers with the member's key and its
// old and new value: `old` is empty for an addition, `now` for a deletion. Writing an equal value changes
// nothing and notifies nobody; values are compared by ==, pointers as pointers. If memory ends, the mutator
// raises std::bad_alloc, and neither the change nor its notification has happened.
//
//    Vorn::Collection<Pelm::String, Pelm::Ptr<Lamp const>, House> lamp{*this, "lamp"};
//    void lampIs(Pelm::String const & name, ...) { lamp.memberIs(name, Pelm::make<Lamp const>(...)); }
//    void lampDel(Pelm::String const & name) { lamp.memberDel(name); }
//    void lampDelAll() { lamp.memberDelAll(); }
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/HashMap2018.h"

namespace Vorn {

namespace detail {

// The result of a look-up: a pointer that may be null, or an optional value.
template <class Value>
struct Lookup {
   using Type = Optional<Value>;
};
template <class T>
struct Lookup<Pelm::Ptr<T>> {
   using Type = Pelm::Ptr<T>;
};

}  // namespace detail

// `id` is the attribute's name; the text must outlive the collection. Members are in order of addition; one
// that is replaced keeps its place, one that is deleted and added again goes to the end.
template <class KeyType, class T, class Owner>
class Collection {
 public:
   using Key = KeyType;
   using Value = T;
   using Found = typename detail::Lookup<T>::Type;

   Collection(Owner & owner, char const * id) : owner_{owner}, id_{id} {}
   Collection(Collection const &) = delete;
   Collection & operator=(Collection const &) = delete;

   // The member's value: a pointer, or a copy in an Optional. Null or empty without such a member.
   Found operator()(Key const & key) const {
      T const * const found = members_.find(key);
      return found ? Found{*found} : Found{};
   }
   bool contains(Key const & key) const { return members_.contains(key); }
   std::size_t size() const { return members_.size(); }
   bool empty() const { return members_.empty(); }

   // A walk in order of addition. It allows additions and deletions, skips what is deleted, and does not
   // visit what is added meanwhile (see HashMap2018).
   // References into the member: valid while it exists, or the walk stands on it.
   struct Member {
      Key const & key;
      T const & value;
   };
   class Iterator {
    public:
      explicit Iterator(typename HashMap2018<Key, T>::Iterator position) : position_{std::move(position)} {}
      Member operator*() const {
         auto const member = *position_;
         return {member.key, member.value};
      }
      Iterator & operator++() {
         ++position_;
         return *this;
      }
      // Whether the member has been deleted since the walk reached it.
      bool stale() const { return position_.stale(); }
      bool operator==(std::default_sentinel_t end) const { return position_ == end; }

    private:
      typename HashMap2018<Key, T>::Iterator position_;
   };
   Iterator begin() const { return Iterator{members_.begin()}; }
   std::default_sentinel_t end() const { return {}; }

   // For reactors that subscribe.
   char const * id() const { return id_; }
   Pelm::Node const & owner() const { return owner_; }
   Pelm::Publisher & publisher() const { return publisher_; }

 private:
   friend Owner;

   // Adds the member, or replaces its value where that differs.
   void memberIs(Key const & key, T value) {
      T * const stored = members_.find(key);
      if (!stored)
         change(key, changeTo(value), [&](Change<T> &) { members_.insert(key, std::move(value)); });
      else if (!(*stored == value))
         change(key, changeTo(value),
                [&](Change<T> & record) { record.old.emplace(std::exchange(*stored, std::move(value))); });
   }

   // Does nothing without such a member.
   void memberDel(Key const & key) {
      T * const stored = members_.find(key);
      if (!stored)
         return;
      // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): `key` may live in the entry that goes.
      Key const name = key;
      change(name, Change<T>{*stored, {}}, [&](Change<T> &) { members_.erase(name); });
   }

   // Deletes the members that exist now one by one, oldest first, each with its own notification. Members
   // that subscribers add meanwhile under new keys stay.
   void memberDelAll() {
      // A subscriber may drop the owner.
      Pelm::KeepAlive const keepAlive{owner_};
      std::vector<Key> keys;
      keys.reserve(size());
      for (auto const member : members_)
         keys.push_back(member.key);
      for (Key const & key : keys)
         memberDel(key);
   }

   // Without the value if there is no subscriber to read it.
   Change<T> changeTo(T const & value) const {
      return publisher_.hasSubscribers() ? Change<T>{{}, value} : Change<T>{};
   }

   template <class Make>
   void change(Key const & key, Change<T> && record, Make const & make) {
      if (publisher_.hasSubscribers())
         detail::publish(owner_, publisher_, Key{key}, std::move(record), make);
      else
         make(record);
   }

   Owner & owner_;
   char const * id_;
   mutable Pelm::Publisher publisher_;
   HashMap2018<Key, T> members_;
};

}  // namespace Vorn
