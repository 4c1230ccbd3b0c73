// Replaces the C++ library's allocation operators in the whole program. The only source that includes this
// decides which allocations fail.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

namespace Support {

// Defined by the including source. Called before each allocation, on any thread.
bool refusesAllocation(std::size_t bytes);

}  // namespace Support

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define STORAGEDEVICES_ALLOCATES_BY_ITSELF  // ThreadSanitizer, whose operators nobody may replace
#endif
#endif

#ifndef STORAGEDEVICES_ALLOCATES_BY_ITSELF
// NOLINTBEGIN(misc-definitions-in-headers): one source of a program includes them.
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
// NOLINTEND(misc-definitions-in-headers)
#endif
