#include "runtime/Pelm/Node.h"

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

void Node::vornDoZombieReactors(bool) {}

void Node::countIsZero() const {
   // Pointers that come and go while a zombie is torn down must not destroy it under its own feet.
   if (!nodeFlag(Flag::zombie))
      lastUserGone();
   else if (nodeFlag(Flag::tornDown))
      delete this;
}

void Node::lastUserGone() const {
   nodeFlagSet(Flag::zombie, true);
   const_cast<Node *>(this)->vornDoZombieReactors(true);
   nodeFlagSet(Flag::tornDown, true);
   if (useCount() == 0)
      delete this;
}

}  // namespace Pelm
