// The position of a virtual operation in the table of its class.
#pragma once

#include <cstdint>
#include <cstring>

namespace Support {

// From 0; two destructors come first.
template <class Operation>
std::intptr_t slotOf(Operation operation) {
   std::intptr_t place = 0;
   static_assert(sizeof operation >= sizeof place);
   std::memcpy(&place, &operation, sizeof place);
   return place / static_cast<std::intptr_t>(sizeof place);
}

}  // namespace Support
