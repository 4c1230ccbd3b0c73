// The base of every entity, record and machine: an intrusive use count with a few flags beside it.
#pragma once

#include <atomic>
#include <cstdint>
#include <typeinfo>

#include "runtime/Export.h"

namespace Pelm {

class Publisher;

// Use counts change atomically only after the host has switched threads on; it does so before it
// starts the first thread that touches a node, and never switches back while such a thread lives.
RUNTIME_API void threadsEnabledIs(bool enabled);
RUNTIME_API bool threadsEnabled();

namespace detail {
RUNTIME_API extern std::atomic<bool> threadsAreEnabled;
}

// A node is made with `new`, held by `Ptr`s and destroyed by the framework when the last of them goes.
class RUNTIME_API Node {
 public:
   enum class Flag : std::uint32_t {
      zombie = 1U << 28,    // the last user is gone, the node's own reactors are being torn down
      tornDown = 1U << 29,  // that is done; the node goes when its count is zero again
   };

   Node() = default;
   Node(Node const &) = delete;
   Node & operator=(Node const &) = delete;
   virtual ~Node();

   void nodeFlagSet(Flag flag, bool set) const;
   bool nodeFlag(Flag flag) const {
      return (word_.load(std::memory_order_relaxed) & static_cast<std::uint32_t>(flag)) != 0;
   }

   // Number of `Ptr`s that hold the node.
   std::uint32_t useCount() const { return word_.load(std::memory_order_relaxed) & countMask; }

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

   // The operations of every node come in this order in the table of its class.
 protected:
   // Runs when the count drops to zero: makes the node a zombie, tears its reactors down and destroys it
   // once nobody holds it.
   virtual void lastUserGone() const;

 public:
   // Where those subscribe who wait for the one attribute that the node is made for; null: it has none such,
   // and each attribute is subscribed to on its own.
   virtual Publisher * publisher() const;
   // Which kind of node it is.
   virtual std::type_info const & typeData() const;
   // Stops (true) or resumes (false) the reactors that the node owns. The framework calls it with
   // true once, when the last user is gone and the node is still whole.
   virtual void vornDoZombieReactors(bool zombie);

 private:
   static constexpr std::uint32_t countMask = (1U << 28) - 1;

   friend class Delivery;
   friend class KeepAlive;
   // For those who kept the node without being its users.
   void goIfUnused() const {
      if (useCount() == 0) [[unlikely]]
         goIfTornDown(word_.load(std::memory_order_relaxed));
   }

   void countIsZero(std::uint32_t before) const;
   void goIfTornDown(std::uint32_t word) const;
   bool isKept() const;
   void destroy() const;

   mutable std::atomic<std::uint32_t> word_{0};
   mutable std::uint32_t keepers_ = 0;
};

// Keeps a node whole for a scope without being its user. A node whose last user goes meanwhile is a zombie at
// once: its reactors are off. It is destroyed at the end of the scope. For the reactor thread alone; while
// threads are enabled it counts as a user.
class KeepAlive {
 public:
   explicit KeepAlive(Node const & node) : node_{node}, counts_{threadsEnabled()} {
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
