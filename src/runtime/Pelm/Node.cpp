#include "runtime/Pelm/Node.h"

#include "runtime/Pelm/Delivery.h"

namespace Pelm {

namespace detail {
std::atomic<bool> threadsAreEnabled{false};
}

void threadsEnabledIs(bool enabled) {
   detail::threadsAreEnabled.store(enabled, std::memory_order_seq_cst);
}

bool threadsEnabled() {
   return detail::threadsAreEnabled.load(std::memory_order_relaxed);
}

Node::~Node() = default;

void Node::nodeFlagSet(Flag flag, bool set) const {
   auto const bit = static_cast<std::uint32_t>(flag);
   if (set)
      word_.fetch_or(bit, std::memory_order_relaxed);
   else
      word_.fetch_and(~bit, std::memory_order_relaxed);
}

Publisher * Node::publisher() const {
   return nullptr;
}

std::type_info const & Node::typeData() const {
   return typeid(*this);
}

void Node::vornDoZombieReactors(bool) {}

void Node::countIsZero(std::uint32_t before) const {
   // Pointers made and dropped while a zombie is torn down must not destroy it a second time.
   if ((before & static_cast<std::uint32_t>(Flag::zombie)) == 0)
      lastUserGone();
   else
      goIfTornDown(before);
}

void Node::goIfTornDown(std::uint32_t word) const {
   if ((word & static_cast<std::uint32_t>(Flag::tornDown)) != 0 && !isKept())
      destroy();
}

bool Node::isKept() const {
   return keepers_ > 0 || delivery.isNotifying(*this);
}

void Node::lastUserGone() const {
   nodeFlagSet(Flag::zombie, true);
   const_cast<Node *>(this)->vornDoZombieReactors(true);
   // Flag and count are one word: either this sees a remaining pointer, or the pointer's end sees the flag.
   std::uint32_t const before =
       word_.fetch_or(static_cast<std::uint32_t>(Flag::tornDown), std::memory_order_acq_rel);
   if ((before & countMask) == 0 && !isKept())
      destroy();
}

void Node::destroy() const {
   // Pointers made and dropped while destructors run must not destroy the node again.
   nodeFlagSet(Flag::tornDown, false);
   delete this;
}

}  // namespace Pelm
