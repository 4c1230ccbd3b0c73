#include "runtime/Vorn/Queue.h"

namespace Vorn {

char const * VectorOutOfRange::what() const noexcept {
   return "a queue was accessed outside its range";
}

char const * EmptyVector::what() const noexcept {
   return "an end of an empty queue was accessed";
}

void detail::raiseVectorOutOfRange() {
   throw VectorOutOfRange{};
}

void detail::raiseEmptyVector() {
   throw EmptyVector{};
}

}  // namespace Vorn
