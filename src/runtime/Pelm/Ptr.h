// Intrusive strong pointer to a node. `Ptr<T const>` only reads; `Ptr<T>` may write.
#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <utility>

namespace Pelm {

template <class T>
class Ptr {
 public:
   Ptr() = default;
   Ptr(std::nullptr_t) {}
   explicit Ptr(T * node) : node_{node} { hold(); }
   Ptr(Ptr const & other) : node_{other.node_} { hold(); }
   Ptr(Ptr && other) noexcept : node_{std::exchange(other.node_, nullptr)} {}
   template <class U>
   requires std::convertible_to<U *, T *> Ptr(Ptr<U> const & other) : node_{other.get()} { hold(); }
   ~Ptr() {
      if (node_)
         node_->useCountDec();
   }

   // The old node is let go only when the new one is in place: its last words may look here.
   Ptr & operator=(Ptr other) noexcept {
      std::swap(node_, other.node_);
      return *this;
   }

   T * get() const { return node_; }
   T * operator->() const { return node_; }
   T & operator*() const { return *node_; }
   explicit operator bool() const { return node_ != nullptr; }

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

// Makes a node and its first pointer in one step.
template <class T, class... Args>
Ptr<T> make(Args &&... args) {
   return Ptr<T>{new T(std::forward<Args>(args)...)};
}

}  // namespace Pelm

template <class T>
struct std::hash<Pelm::Ptr<T>> {
   std::size_t operator()(Pelm::Ptr<T> const & pointer) const noexcept {
      return std::hash<T *>{}(pointer.get());
   }
};
