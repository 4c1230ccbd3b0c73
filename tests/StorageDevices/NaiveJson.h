// A second opinion on JSON texts: a plain reader that shares nothing with the library's. It expects a text
// that is known to be JSON and of little depth.
#pragma once

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace StorageDevices::NaiveJson {

struct Member;

struct Value {
   char kind = ' ';   // { [ " for what begins so, 0 for a number, otherwise a literal's first letter
   std::string text;  // a string's bytes, a number as it is written
   std::vector<Member> members;
   std::vector<Value> elements;

   // The first member of that name.
   Value const * member(std::string const & name) const;
};

struct Member {
   std::string name;
   Value value;
};

inline Value const * Value::member(std::string const & name) const {
   for (auto const & member : members) {
      if (member.name == name)
         return &member.value;
   }
   return nullptr;
}

class Reader {
 public:
   explicit Reader(std::string text) : text_(std::move(text)) { text_.push_back('\0'); }

   Value value() {
      Value result;
      char const c = peek();
      if (c == '{') {
         result.kind = c;
         for (take(); peek() != '}'; skipComma()) {
            std::string name = (peek(), string());
            peek();
            take();  // the colon
            result.members.push_back({std::move(name), value()});
         }
         take();
      } else if (c == '[') {
         result.kind = c;
         for (take(); peek() != ']'; skipComma())
            result.elements.push_back(value());
         take();
      } else if (c == '"') {
         result.kind = c;
         result.text = string();
      } else {
         result.text = word();
         result.kind = std::isalpha(static_cast<unsigned char>(c)) != 0 ? c : '0';
      }
      return result;
   }

 private:
   char take() { return at_ < text_.size() ? text_[at_++] : throw std::pair("no JSON", at_); }

   // The next character that is no white space.
   char peek() {
      while (at_ < text_.size() && std::string(" \t\r\n").find(text_[at_]) != std::string::npos)
         ++at_;
      return at_ < text_.size() ? text_[at_] : '\0';
   }

   void skipComma() {
      if (peek() == ',')
         take();
   }

   std::string word() {
      std::string result;
      while (text_[at_] != '\0' && std::string(",]} \t\r\n").find(text_[at_]) == std::string::npos)
         result.push_back(take());
      return result;
   }

   std::uint32_t hex4() {
      std::string digits;
      for (int i = 0; i < 4; ++i)
         digits.push_back(take());
      return static_cast<std::uint32_t>(std::stoul(digits, nullptr, 16));
   }

   void appendCodePoint(std::string & to) {
      std::uint32_t code = hex4();
      if (code >= 0xD800 && code < 0xDC00) {
         at_ += 2;
         code = 0x10000 + ((code - 0xD800) << 10U) + (hex4() - 0xDC00);
      }
      if (code < 0x80) {
         to.push_back(static_cast<char>(code));
         return;
      }
      int const rest = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
      static constexpr unsigned lead[] = {0, 0xC0, 0xE0, 0xF0};
      to.push_back(static_cast<char>(lead[rest] | (code >> (6 * rest))));
      for (int i = rest - 1; i >= 0; --i)
         to.push_back(static_cast<char>(0x80 | ((code >> (6 * i)) & 0x3F)));
   }

   std::string string() {
      std::string result;
      take();
      for (char c = take(); c != '"'; c = take()) {
         if (c != '\\') {
            result.push_back(c);
            continue;
         }
         c = take();
         auto const known = std::string("bfnrt").find(c);
         if (c == 'u')
            appendCodePoint(result);
         else
            result.push_back(known == std::string::npos ? c : "\b\f\n\r\t"[known]);
      }
      return result;
   }

   std::string text_;
   std::size_t at_ = 0;
};

}  // namespace StorageDevices::NaiveJson
