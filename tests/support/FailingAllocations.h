// In the place of the C++ library's operators, for the whole program of the one source that includes this: an
// allocation fails where that source says so.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

namespace Support {

// Defined by the source that includes this. Asked before each allocation, of any thread.
bool refusesAllocation(std::size_t bytes);

}  // namespace Support

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define STORAGEDEVICES_ALLOCATES_BY_ITSELF  // ThreadSanitizer, whose operators nobody may replace
#endif
#endif

#ifndef STORAGEDEVICES_ALLOCATES_BY_ITSELF
void * operator new(std::size_t size, std::nothrow_t const &) noexcept {
   return Support::refusesAllocation(size) ? nullptr : std::malloc(size > 0 ? size : 1);
}
void * operator new(std::size_t size) {
   void * const block = operator new(size, std::nothrow);
   if (!block)
      throw std::bad_alloc{};
   return block;
}
void operator delete(void * block) noexcept {
   std::free(block);
}
void operator delete(void * block, std::size_t) noexcept {
   std::free(block);
}
#endif
