#include "StorageDevices/ExprPattern.h"

#include <regex.h>

#include <algorithm>
#include <string_view>

#include "StorageDevices/CharacterClasses.h"

namespace StorageDevices {

namespace {

// The exit codes of `expr`.
constexpr int match = 0;
constexpr int noMatch = 1;

}  // namespace

bool isPlainPattern(std::string const & pattern) {
   // As a whole pattern, each of these is a keyword of `expr`.
   for (std::string_view const word :
        {"+",  "(", ")",  "match", "substr", "index", "length", "quote", "|", "&", "<",
         "<=", "=", "==", "!=",    ">=",     ">",     "-",      "*",     "/", "%", ":"})
      if (pattern == word)
         return false;
   auto const isSpecial = [](char first, char second) {
      return first == '\\' && (second == '(' || second == '{' || isDigit(second));
   };
   return std::adjacent_find(pattern.begin(), pattern.end(), isSpecial) == pattern.end();
}

class ExprPatterns::Compiled {
 public:
   explicit Compiled(char const * pattern) : error_{regcomp(&expression_, pattern, 0)} {}
   Compiled(Compiled const &) = delete;
   Compiled & operator=(Compiled const &) = delete;
   ~Compiled() {
      if (error_ == 0)
         regfree(&expression_);
   }

   // `expr` accepts more forms (empty ranges, repeated repeats), so other patterns are left to it.
   bool isCertain() const { return error_ == 0; }
   int status(char const * string) const {
      regmatch_t found{};
      bool const matches = regexec(&expression_, string, 1, &found, 0) == 0;
      return matches && found.rm_so == 0 && found.rm_eo > 0 ? match : noMatch;
   }

 private:
   regex_t expression_{};
   int error_;
};

ExprPatterns::ExprPatterns() = default;
ExprPatterns::~ExprPatterns() = default;

CDevsUtil::ExprAnswer ExprPatterns::ask(char const * string, char const * pattern) {
   if (!isPlainPattern(pattern))
      return CDevsUtil::askExpr(string, pattern);
   auto const [entry, isNew] = compiled_.try_emplace(pattern);
   if (isNew)
      entry->second = std::make_unique<Compiled>(pattern);
   return entry->second->isCertain() ? CDevsUtil::ExprAnswer{entry->second->status(string), 0}
                                     : CDevsUtil::askExpr(string, pattern);
}

}  // namespace StorageDevices
