#include "agent/config/ConfigNesting.h"

namespace Agent {

namespace {

constexpr int maxDepth = 16;

class NestingScanner {
 public:
   explicit NestingScanner(std::string_view text) : text_{text} {}

   std::optional<std::size_t> run() {
      while (at_ < text_.size() && !broken_) {
         step();
         if (brackets_ > maxDepth || dots_ >= maxDepth)
            return line_;
      }
      return std::nullopt;
   }

 private:
   void step() {
      char const c = text_[at_];
      if (c == '#')
         skipComment();
      else if (c == '"' || c == '\'')
         skipString(c);
      else
         plain(c);
   }

   void plain(char c) {
      ++at_;
      line_ += c == '\n' ? 1 : 0;
      if (c == '.') {
         ++dots_;
         return;
      }
      if (c == '[' || c == '{')
         ++brackets_;
      else if ((c == ']' || c == '}') && brackets_ > 0)
         --brackets_;
      if (c == '=' || c == ',' || c == '\n' || c == '[' || c == '{')
         dots_ = 0;
   }

   void skipComment() {
      while (at_ < text_.size() && text_[at_] != '\n')
         ++at_;
   }

   bool threeAt(std::size_t at, char quote) const {
      return at + 2 < text_.size() && text_[at] == quote && text_[at + 1] == quote && text_[at + 2] == quote;
   }

   void skipString(char quote) {
      if (threeAt(at_, quote))
         skipLongString(quote);
      else
         skipShortString(quote);
   }

   void skipShortString(char quote) {
      for (++at_; at_ < text_.size() && text_[at_] != '\n'; ++at_) {
         if (text_[at_] == quote) {
            ++at_;
            return;
         }
         if (text_[at_] == '\\' && quote == '"')
            ++at_;
      }
      broken_ = true;  // an unterminated string: the parser stops here too
   }

   void skipLongString(char quote) {
      for (at_ += 3; at_ < text_.size(); ++at_) {
         if (threeAt(at_, quote)) {
            at_ += 3;
            // One or two further quotes are part of the string.
            for (int more = 0; more < 2 && at_ < text_.size() && text_[at_] == quote; ++more)
               ++at_;
            return;
         }
         if (text_[at_] == '\\' && quote == '"' && at_ + 1 < text_.size())
            ++at_;
         line_ += text_[at_] == '\n' ? 1 : 0;
      }
   }

   std::string_view text_;
   std::size_t at_ = 0;
   std::size_t line_ = 1;
   int brackets_ = 0;
   int dots_ = 0;
   bool broken_ = false;
};

}  // namespace

std::optional<std::size_t> tooDeepConfigLine(std::string_view text) {
   return NestingScanner{text}.run();
}

}  // namespace Agent
