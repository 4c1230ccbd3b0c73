// The allocator for reading untrusted JSON texts, and for writing JSON.
//
// RapidJSON's own allocators answer null when there is no memory, and its stacks do not check that. This one
// raises std::bad_alloc instead, also where a size and what it adds to it overflow. A large block is a
// mapping of its own: it grows without a second copy, and returns to the system when it is freed.
#pragma once

#include <sys/mman.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace Base {

// RapidJSON prescribes the names of an allocator's members.
class JsonMemory {
 public:
   static constexpr bool kNeedFree = true;

   static void * Malloc(std::size_t size) { return Realloc(nullptr, 0, size); }

   // For size 0 it frees the block and answers null.
   static void * Realloc(void * block, std::size_t oldSize, std::size_t size) {
      if (size == 0) {
         Free(block);
         return nullptr;
      }
      Head * const head = block != nullptr ? headOf(block) : nullptr;
      std::size_t const whole = size + sizeof(Head);
      if (whole < size)
         throw std::bad_alloc{};
      if (head != nullptr && head->mapped != 0)
         return grown(head, whole);
      if (whole < largeBlock)
         return placed(std::realloc(head, whole), 0);
      void * const moved = mapped(whole);
      if (block != nullptr)
         std::memcpy(moved, block, std::min(oldSize, size));
      Free(block);
      return moved;
   }

   static void Free(void * block) noexcept {
      if (block == nullptr)
         return;
      Head * const head = headOf(block);
      if (head->mapped != 0)
         munmap(head, head->mapped);
      else
         std::free(head);
   }

 private:
   // A report of smartctl or nvme needs less, so that no mapping is made and freed for each.
   static constexpr std::size_t largeBlock = 131072;

   struct alignas(std::max_align_t) Head {
      std::size_t mapped;  // bytes of the mapping, this head included; 0: the block is from the heap
   };

   static Head * headOf(void * block) { return static_cast<Head *>(block) - 1; }

   static void * placed(void * memory, std::size_t mapped) {
      if (memory == nullptr || memory == MAP_FAILED)
         throw std::bad_alloc{};
      return new (memory) Head{mapped} + 1;
   }
   static void * mapped(std::size_t whole) {
      return placed(mmap(nullptr, whole, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0), whole);
   }
   static void * grown(Head * head, std::size_t whole) {
      return placed(mremap(head, head->mapped, whole, MREMAP_MAYMOVE), whole);
   }
};

}  // namespace Base
