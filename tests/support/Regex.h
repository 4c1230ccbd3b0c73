// Regular expressions of the standard library, as a reference for what is matched by hand. Its templates take
// seconds to compile and are slow unless optimised, so they stand in a library of their own, the same in
// every build.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Support {

// For short texts only: matching recurses for each character.
class Regex {
 public:
   enum class Syntax { ecmaScript, basic };
   // The parts of the text that the expression and each of its groups matched; empty when it did not match.
   using Match = std::vector<std::string_view>;

   // Raises a std::runtime_error for what is no expression.
   explicit Regex(std::string const & expression, Syntax syntax = Syntax::ecmaScript);

   Match matchWhole(std::string_view text) const;
   Match matchStart(std::string_view text) const;
   Match search(std::string_view text) const;

 private:
   struct Compiled;
   std::shared_ptr<Compiled const> compiled_;
};

}  // namespace Support
