#include "runtime/Vorn/Errno.h"

#include <ostream>
#include <system_error>

#include "runtime/Vorn/Format.h"

namespace Vorn {

Pelm::String Errno::stringValue() const {
   std::string const text = std::generic_category().message(number_);
   return _fmt("%s: %s (errno %d)", context_.data(), text.c_str(), number_);
}

std::ostream & operator<<(std::ostream & stream, Errno const & error) {
   return stream << error.stringValue();
}

}  // namespace Vorn
