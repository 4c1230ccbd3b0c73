// A hash map that may be changed in any way while it is walked.
//
// A walk visits the members that existed at its begin, each at most once, in order of insertion. It skips
// members that were deleted meanwhile; a member deleted and inserted again counts as new. An iterator keeps
// its entry, so the entry stays readable after the member is deleted (`stale()`).
//
// Look-up, insertion and deletion take constant time on average, whatever is walked. Values stay at their
// address until they are deleted. One thread uses a map and its iterators.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <unordered_set>
#include <utility>

#include "runtime/Pelm/String.h"

namespace Vorn {

namespace detail {

template <class Key>
struct KeyHash : std::hash<Key> {};
template <>
struct KeyHash<Pelm::String> : Pelm::StringHash {};

}  // namespace detail

// `Key` has ==, and std::hash unless it is a Pelm::String. Once inserted, a key and its value are neither
// copied nor moved.
template <class Key, class Value>
class HashMap2018 {
   struct Entry {
      Key key;
      Value value;
      std::uint64_t birth;
      HashMap2018 * map;  // null once the map is gone
      Entry * previous = nullptr;
      Entry * next = nullptr;
      std::size_t walkers = 0;
      bool live = true;
   };

 public:
   // The references are valid until the member is deleted and no iterator stands on it.
   struct Member {
      Key const & key;
      Value & value;
   };

   // Keeps its entry, and so it may outlive both the member and the map. A copy stands on the same member and
   // ends its walk where this one does. One that is made without a map is at the end.
   class Iterator {
    public:
      using difference_type = std::ptrdiff_t;
      using value_type = Member;
      using iterator_category = std::input_iterator_tag;

      Iterator() = default;
      Iterator(Iterator const & other) : entry_{other.entry_}, end_{other.end_} { hold(); }
      Iterator(Iterator && other) noexcept : entry_{std::exchange(other.entry_, nullptr)}, end_{other.end_} {}
      Iterator & operator=(Iterator other) noexcept {
         std::swap(entry_, other.entry_);
         std::swap(end_, other.end_);
         return *this;
      }
      ~Iterator() { release(entry_); }

      // The member, a deleted one too. The iterator must not be at the end.
      Member operator*() const { return {entry_->key, entry_->value}; }
      // Whether the member under the iterator has been deleted since the iterator reached it.
      bool stale() const { return !entry_->live; }

      // To the next member of the walk; to the end where the map is gone. Must not be at the end.
      Iterator & operator++() {
         Entry * const from = entry_;
         entry_ = firstLive(from->next);
         hold();
         release(from);
         return *this;
      }
      void operator++(int) { ++*this; }

      bool operator==(std::default_sentinel_t) const { return entry_ == nullptr; }

    private:
      friend HashMap2018;
      Iterator(Entry * first, std::uint64_t end) : end_{end} {
         entry_ = firstLive(first);
         hold();
      }
      Entry * firstLive(Entry * entry) const {
         while (entry && !(entry->live && entry->birth < end_))
            entry = entry->next;
         return entry;
      }
      void hold() const {
         if (entry_)
            ++entry_->walkers;
      }
      static void release(Entry * entry) {
         if (entry && --entry->walkers == 0 && !entry->live)
            HashMap2018::discard(entry);
      }

      Entry * entry_ = nullptr;
      std::uint64_t end_ = 0;
   };

   HashMap2018() = default;
   HashMap2018(HashMap2018 const &) = delete;
   HashMap2018 & operator=(HashMap2018 const &) = delete;

   // Deletes the members in order of insertion, and those that their destructors insert.
   ~HashMap2018() {
      while (!empty())
         clear();
      // Iterators keep their entries beyond the end of the map.
      for (Entry * entry = first_; entry;) {
         Entry * const next = entry->next;
         entry->map = nullptr;
         entry->previous = entry->next = nullptr;
         entry = next;
      }
   }

   // Without members that are deleted and only kept by an iterator.
   std::size_t size() const { return index_.size(); }
   bool empty() const { return index_.empty(); }
   bool contains(Key const & key) const { return index_.contains(key); }

   // Null without such a member. Valid until the member is deleted.
   Value * find(Key const & key) const {
      auto const found = index_.find(key);
      return found == index_.end() ? nullptr : &(*found)->value;
   }

   // The key must not exist. If memory ends, raises std::bad_alloc and inserts nothing.
   Value & insert(Key key, Value value) {
      auto entry = std::make_unique<Entry>(Entry{std::move(key), std::move(value), nextBirth_, this});
      index_.insert(entry.get());
      ++nextBirth_;
      link(entry.get());
      return entry.release()->value;
   }

   // Answers whether the member existed. Its value is destroyed at once, or when the last iterator leaves it.
   bool erase(Key const & key) {
      auto const found = index_.find(key);
      if (found == index_.end())
         return false;
      Entry * const entry = *found;
      index_.erase(found);
      retire(entry);
      return true;
   }

   // A walk like any other: the members' destructors may change the map.
   void clear() {
      for (Iterator member = begin(); member != end(); ++member)
         erase((*member).key);
   }

   // A walk over the members that exist now, oldest first.
   Iterator begin() const { return Iterator{first_, nextBirth_}; }
   std::default_sentinel_t end() const { return {}; }

 private:
   struct Hash {
      using is_transparent = void;
      std::size_t operator()(Entry const * entry) const { return (*this)(entry->key); }
      std::size_t operator()(Key const & key) const { return detail::KeyHash<Key>{}(key); }
   };
   struct Equal {
      using is_transparent = void;
      bool operator()(Entry const * a, Entry const * b) const { return a->key == b->key; }
      bool operator()(Key const & key, Entry const * entry) const { return key == entry->key; }
      bool operator()(Entry const * entry, Key const & key) const { return entry->key == key; }
   };

   void link(Entry * entry) {
      entry->previous = last_;
      (last_ ? last_->next : first_) = entry;
      last_ = entry;
   }

   static void retire(Entry * entry) {
      entry->live = false;
      if (entry->walkers == 0)
         discard(entry);
   }

   static void discard(Entry * entry) {
      if (HashMap2018 * const map = entry->map) {
         (entry->previous ? entry->previous->next : map->first_) = entry->next;
         (entry->next ? entry->next->previous : map->last_) = entry->previous;
      }
      delete entry;
   }

   std::unordered_set<Entry *, Hash, Equal> index_;
   Entry * first_ = nullptr;
   Entry * last_ = nullptr;
   std::uint64_t nextBirth_ = 0;
};

}  // namespace Vorn
