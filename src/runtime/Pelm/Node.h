// The base of every entity, record and machine: an intrusive use count with a few flags beside it.
#pragma once

#include <atomic>
#include <cstdint>
#include <typeinfo>

#include "runtime/Export.h"

namespace Pelm {

class Node;
class Publisher;

// Switches to atomic use counts. The host must call it before it starts the first thread that uses a node,
// and must not switch back while such a thread exists. Other threads may then keep and drop pointers, and
// read what never changes. Attributes and machines stay with the reactor thread.
VORN_API void threadsEnabledIs(bool enabled);
VORN_API bool threadsEnabled();

namespace detail {
VORN_API extern std::atomic<bool> threadsAreEnabled;
}

// A reactor of a node: it stops when the node's last user goes, without the node's help. Reactor thread only.
class VORN_API OwnReactor {
 public:
   OwnReactor() = default;
   OwnReactor(OwnReactor const &) = delete;
   OwnReactor & operator=(OwnReactor const &) = delete;

 protected:
   virtual ~OwnReactor();

   // Null: no node's. The reactor of a zombie is stopped.
   void ownerIs(Node const * owner);
   // Calls no handler from now on (true), or goes on as before (false).
   virtual void stoppedIs(bool stopped) = 0;

 private:
   friend Node;
   void link(Node const & owner);
   void unlink();

   Node const * owner_ = nullptr;
   OwnReactor * previous_ = nullptr;
   OwnReactor * next_ = nullptr;
};

// Create a node by `Pelm::make`, since the last `Ptr` to it deletes it. Only a node that no `Ptr` ever points
// at, such as a machine's reactor, may be a member. While one of its handlers runs, or a KeepAlive keeps it,
// its destruction waits for the end of that.
class VORN_API Node {
 public:
   enum class Flag : std::uint32_t {
      zombie = 1U << 28,    // the last user is gone; the node's own reactors are torn down
      tornDown = 1U << 29,  // they are torn down; the node is destroyed when its count is zero
   };

   Node() = default;
   Node(Node const &) = delete;
   Node & operator=(Node const &) = delete;
   virtual ~Node();

   // For the framework. A handler that has lost its machine's last user reads `zombie`.
   void nodeFlagSet(Flag flag, bool set) const;
   bool nodeFlag(Flag flag) const {
      return (word_.load(std::memory_order_relaxed) & static_cast<std::uint32_t>(flag)) != 0;
   }

   // The number of `Ptr`s to the node; there is room for 2^28 - 1.
   std::uint32_t useCount() const { return word_.load(std::memory_order_relaxed) & countMask; }

   // Called by `Ptr` alone. The decrement to 0 may destroy the node.
   void useCountInc() const {
      if (detail::threadsAreEnabled.load(std::memory_order_relaxed)) [[unlikely]]
         word_.fetch_add(1, std::memory_order_relaxed);
      else
         word_.store(word_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
   }

   void useCountDec() const {
      std::uint32_t before;
      if (detail::threadsAreEnabled.load(std::memory_order_relaxed)) [[unlikely]] {
         before = word_.fetch_sub(1, std::memory_order_acq_rel);
      } else {
         before = word_.load(std::memory_order_relaxed);
         word_.store(before - 1, std::memory_order_relaxed);
      }
      if ((before & countMask) == 1) [[unlikely]]
         countIsZero(before);
   }

   // The order of these operations fixes their places in the table of every class.
 protected:
   // Runs when the count drops to zero: makes the node a zombie, tears down its reactors, and destroys it
   // when no pointer is left.
   virtual void lastUserGone() const;

 public:
   // The publisher of the node's main attribute. Null: it has none, and each attribute is subscribed to
   // separately.
   virtual Publisher * publisher() const;
   // The type of the node, that of the most derived class unless overridden.
   virtual std::type_info const & typeData() const;
   // Stops (true) or resumes (false) the node's own reactors. The framework calls it once with true, when the
   // last user is gone and the node is still whole. The reactors have stopped by then, whatever an override
   // does.
   virtual void vornDoZombieReactors(bool zombie);

 private:
   static constexpr std::uint32_t countMask = (1U << 28) - 1;

   friend class Delivery;
   friend class KeepAlive;
   friend class OwnReactor;
   // For KeepAlive and the delivery, which keep the node without counting as users.
   void goIfUnused() const {
      if (useCount() == 0) [[unlikely]]
         goIfTornDown(word_.load(std::memory_order_relaxed));
   }

   void reactorsStoppedIs(bool stopped) const;
   void countIsZero(std::uint32_t before) const;
   void goIfTornDown(std::uint32_t word) const;
   bool isKept() const;
   void destroy() const;

   mutable std::atomic<std::uint32_t> word_{0};
   mutable std::uint32_t keepers_ = 0;
   mutable OwnReactor * reactors_ = nullptr;
};

// Keeps a node whole for a scope without being its user. If the last user goes meanwhile, the node is a
// zombie at once: its reactors are off. It is destroyed at the end of the scope. Reactor thread only; while
// threads are enabled it counts as a user.
class KeepAlive {
 public:
   explicit KeepAlive(Node const & node)
       : node_{node}, counts_{detail::threadsAreEnabled.load(std::memory_order_relaxed)} {
      if (counts_)
         node.useCountInc();
      else
         ++node.keepers_;
   }
   KeepAlive(KeepAlive const &) = delete;
   KeepAlive & operator=(KeepAlive const &) = delete;
   ~KeepAlive() {
      if (counts_)
         node_.useCountDec();
      else if (--node_.keepers_ == 0)
         node_.goIfUnused();
   }

 private:
   Node const & node_;
   bool counts_;
};

}  // namespace Pelm
