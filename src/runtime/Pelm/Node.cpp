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

Node::~Node() {
   while (reactors_)
      reactors_->unlink();
}

void Node::nodeFlagSet(Flag flag, bool set) const {
   auto const bit = static_cast<std::uint32_t>(flag);
   if (set)
      word_.fetch_or(bit, std::memory_order_relaxed);
   else
      word_.fetch_and(~bit, std::memory_order_relaxed);
}

OwnReactor::~OwnReactor() {
   unlink();
}

void OwnReactor::ownerIs(Node const * owner) {
   if (owner == owner_)
      return;
   unlink();
   if (owner)
      link(*owner);
   stoppedIs(owner && owner->nodeFlag(Node::Flag::zombie));
}

void OwnReactor::link(Node const & owner) {
   owner_ = &owner;
   next_ = owner.reactors_;
   if (next_)
      next_->previous_ = this;
   owner.reactors_ = this;
}

void OwnReactor::unlink() {
   if (!owner_)
      return;
   (previous_ ? previous_->next_ : owner_->reactors_) = next_;
   if (next_)
      next_->previous_ = previous_;
   owner_ = nullptr;
   previous_ = next_ = nullptr;
}

Publisher * Node::publisher() const {
   return nullptr;
}

std::type_info const & Node::typeData() const {
   return typeid(*this);
}

void Node::vornDoZombieReactors(bool zombie) {
   reactorsStoppedIs(zombie);
}

void Node::reactorsStoppedIs(bool stopped) const {
   for (OwnReactor * reactor = reactors_; reactor; reactor = reactor->next_)
      reactor->stoppedIs(stopped);
}

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
   reactorsStoppedIs(true);
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
