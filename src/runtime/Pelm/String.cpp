#include "runtime/Pelm/String.h"

#include <cassert>
#include <ostream>

namespace Pelm {

void String::append(std::string_view text) {
   text_.append(text);
   cleared_ = false;
}

void String::addLeft(std::string_view text) {
   text_.insert(0, text);
   cleared_ = false;
}

void String::erase(char const * first, char const * last) {
   assert(begin() <= first && first <= last && last <= end());
   text_.erase(static_cast<std::size_t>(first - begin()), static_cast<std::size_t>(last - first));
}

void String::optionalClearValue() {
   text_.clear();
   cleared_ = true;
}

std::ostream & operator<<(std::ostream & stream, String const & text) {
   return stream << text.view();
}

}  // namespace Pelm
