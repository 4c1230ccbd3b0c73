#include "runtime/Vorn/Seconds.h"

#include <ostream>

namespace Vorn {

std::ostream & operator<<(std::ostream & stream, Seconds seconds) {
   return stream << seconds.value();
}

}  // namespace Vorn
