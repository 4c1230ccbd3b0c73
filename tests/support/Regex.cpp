#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"  // gcc 12 sees ghosts in <regex>
#endif

#include "tests/support/Regex.h"

#include <regex>

namespace Support {

struct Regex::Compiled {
   std::regex expression;
};

namespace {

Regex::Match partsOf(std::cmatch const & match) {
   Regex::Match parts;
   for (std::csub_match const & part : match)
      parts.emplace_back(part.first, static_cast<std::size_t>(part.length()));
   return parts;
}

Regex::Match searched(std::string_view text, std::regex const & expression,
                      std::regex_constants::match_flag_type how) {
   std::cmatch match;
   std::regex_search(text.data(), text.data() + text.size(), match, expression, how);
   return partsOf(match);
}

}  // namespace

Regex::Regex(std::string const & expression, Syntax syntax)
    : compiled_{std::make_shared<Compiled>(Compiled{
          std::regex{expression, syntax == Syntax::basic ? std::regex::basic : std::regex::ECMAScript}})} {}

Regex::Match Regex::matchWhole(std::string_view text) const {
   std::cmatch match;
   std::regex_match(text.data(), text.data() + text.size(), match, compiled_->expression);
   return partsOf(match);
}

Regex::Match Regex::matchStart(std::string_view text) const {
   return searched(text, compiled_->expression, std::regex_constants::match_continuous);
}

Regex::Match Regex::search(std::string_view text) const {
   return searched(text, compiled_->expression, std::regex_constants::match_default);
}

}  // namespace Support
