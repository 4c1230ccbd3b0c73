// Intrusive strong pointer to a node. `Ptr<T const>` only reads; `Ptr<T>` may write.
//
// The node lives as long as one pointer to it does; the last one destroys it. Two nodes that point at each
// other are never destroyed. A pointer costs one machine word. Several threads may use pointers to one node
// only after the host has switched to atomic use counts (Node.h), and never one pointer.
#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <utility>

namespace Pelm {

// `T` derives from Pelm::Node. A pointer may be null.
template <class T>
class Ptr {
 public:
   Ptr() = default;
   Ptr(std::nullptr_t) {}
   // Takes a share of the node, which other pointers may share already. Null gives a null pointer.
   explicit Ptr(T * node) : node_{node} { hold(); }
   Ptr(Ptr const & other) : node_{other.node_} { hold(); }
   // Leaves `other` null, and the use count as it is.
   Ptr(Ptr && other) noexcept : node_{std::exchange(other.node_, nullptr)} {}
   // From a pointer to a derived class, or from one that may write.
   template <class U>
   requires std::convertible_to<U *, T *> Ptr(Ptr<U> const & other) : node_{other.get()} { hold(); }
   // The last one destroys the node here, or at the end of the handler of it that runs.
   ~Ptr() {
      if (node_)
         node_->useCountDec();
   }

   // Drops the old node only after the assignment, since its destruction may read this pointer.
   Ptr & operator=(Ptr other) noexcept {
      std::swap(node_, other.node_);
      return *this;
   }

   // Null of a null pointer; `->` and `*` must not be called on one.
   T * get() const { return node_; }
   T * operator->() const { return node_; }
   T & operator*() const { return *node_; }
   explicit operator bool() const { return node_ != nullptr; }

   // Whether both point to the same node, or both are null. Values are not compared.
   template <class U>
   bool operator==(Ptr<U> const & other) const {
      return node_ == other.get();
   }
   bool operator==(std::nullptr_t) const { return node_ == nullptr; }

 private:
   void hold() const {
      if (node_)
         node_->useCountInc();
   }

   T * node_ = nullptr;
};

// Creates a node and its first pointer; never null. Raises std::bad_alloc, and whatever the constructor
// raises. The constructor must not make a `Ptr` of its own node: the end of that one would destroy it.
template <class T, class... Args>
Ptr<T> make(Args &&... args) {
   return Ptr<T>{new T(std::forward<Args>(args)...)};
}

}  // namespace Pelm

// By address: the order of a map with such keys differs from run to run.
template <class T>
struct std::hash<Pelm::Ptr<T>> {
   std::size_t operator()(Pelm::Ptr<T> const & pointer) const noexcept {
      return std::hash<T *>{}(pointer.get());
   }
};
