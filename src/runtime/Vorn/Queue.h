// Queue attributes: elements are appended at the back and removed at the front.
//
//    Vorn::Queue<Pelm::String, Command> arg{*this, "arg"};
//    void argPush(Pelm::String value) { arg.push(std::move(value)); }
//    void argPop() { arg.pop(); }
//    void argPopAll() { arg.popAll(); }
//    void argIs(std::size_t index, Pelm::String value) { arg.elementIs(index, std::move(value)); }
//
// Subscribers are notified with the element's index at the time of the change. `old` is empty for an element
// that was appended, `now` for one that was removed. The owner bounds the length. Removal moves all other
// elements, so a queue is for tens of them, such as a command line.
#pragma once

#include <cstddef>
#include <exception>
#include <utility>
#include <vector>

#include "runtime/Export.h"
#include "runtime/Vorn/Attribute.h"

namespace Vorn {

// The index was not below the size.
class VORN_API VectorOutOfRange : public std::exception {
 public:
   char const * what() const noexcept override;
};

// A queue without elements was read at an end, or its first element was to be removed.
class VORN_API EmptyVector : public std::exception {
 public:
   char const * what() const noexcept override;
};

namespace detail {
[[noreturn]] VORN_API void raiseVectorOutOfRange();
[[noreturn]] VORN_API void raiseEmptyVector();
}  // namespace detail

// References and iterators are valid until the next change of the queue. `id` is the attribute's name; the
// text must outlive the queue.
template <class T, class Owner>
class Queue {
 public:
   using Key = std::size_t;
   using Value = T;

   Queue(Owner & owner, char const * id) : owner_{owner}, id_{id} {}
   Queue(Queue const &) = delete;
   Queue & operator=(Queue const &) = delete;

   // Raises VectorOutOfRange.
   T const & operator()(std::size_t index) const { return elements_[checked(index)]; }
   // Raise EmptyVector.
   T const & front() const { return elements_[checkedFront()]; }
   T const & back() const { return elements_[checkedFront() + elements_.size() - 1]; }
   std::size_t size() const { return elements_.size(); }
   bool empty() const { return elements_.empty(); }
   auto begin() const { return elements_.begin(); }
   auto end() const { return elements_.end(); }

   char const * id() const { return id_; }
   Pelm::Node const & owner() const { return owner_; }
   Pelm::Publisher & publisher() const { return publisher_; }

 private:
   friend Owner;

   // Its index is the size before.
   void push(T value) {
      change(elements_.size(), changeTo(value), [&](Change<T> &) { elements_.push_back(std::move(value)); });
   }

   // Raises EmptyVector. The index is 0.
   void pop() {
      T & first = elements_[checkedFront()];
      change(0, Change<T>{}, [&](Change<T> & record) {
         record.old.emplace(std::move(first));
         elements_.erase(elements_.begin());
      });
   }

   // Elements that subscribers push meanwhile stay.
   void popAll() {
      Pelm::KeepAlive const keepAlive{owner_};
      for (std::size_t left = size(); left > 0 && !empty(); --left)
         pop();
   }

   // Raises VectorOutOfRange. An equal value changes nothing and notifies nobody.
   void elementIs(std::size_t index, T value) {
      T & stored = elements_[checked(index)];
      if (stored == value)
         return;
      change(index, changeTo(value),
             [&](Change<T> & record) { record.old.emplace(std::exchange(stored, std::move(value))); });
   }

   std::size_t checked(std::size_t index) const {
      if (index >= elements_.size()) [[unlikely]]
         detail::raiseVectorOutOfRange();
      return index;
   }
   std::size_t checkedFront() const {
      if (elements_.empty()) [[unlikely]]
         detail::raiseEmptyVector();
      return 0;
   }

   // Without the value if there is no subscriber to read it.
   Change<T> changeTo(T const & value) const {
      return publisher_.hasSubscribers() ? Change<T>{{}, value} : Change<T>{};
   }

   template <class Make>
   void change(std::size_t index, Change<T> && record, Make const & make) {
      if (publisher_.hasSubscribers())
         detail::publish(owner_, publisher_, index, std::move(record), make);
      else
         make(record);
   }

   Owner & owner_;
   char const * id_;
   mutable Pelm::Publisher publisher_;
   std::vector<T> elements_;
};

}  // namespace Vorn
