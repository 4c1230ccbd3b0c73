// Random JSON: values from lists of critical ones, and the many ways to write one value as text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "NaiveJson.h"

namespace StorageDevices {

class RandomJson {
 public:
   using Value = NaiveJson::Value;

   explicit RandomJson(std::uint32_t seed) : random_{seed} {}

   unsigned below(unsigned bound) { return static_cast<unsigned>(random_() % bound); }
   bool oneIn(unsigned bound) { return below(bound) == 0; }
   template <class List>
   auto const & pick(List const & list) {
      return list[below(static_cast<unsigned>(std::size(list)))];
   }

   static Value number(std::string text) { return plain('0', std::move(text)); }
   static Value string(std::string text) { return plain('"', std::move(text)); }
   static Value literal(std::string const & text) { return plain(text[0], text); }
   static Value array() { return plain('[', ""); }
   static Value object() { return plain('{', ""); }

   // Numbers around every limit.
   Value number() {
      static char const * const numbers[] = {"-1",
                                             "0",
                                             "-0",
                                             "1",
                                             "36",
                                             "100",
                                             "254",
                                             "255",
                                             "256",
                                             "300",
                                             "-300",
                                             "2147483647",
                                             "2147483648",
                                             "-2147483648",
                                             "-2147483649",
                                             "4294967295",
                                             "4294967296",
                                             "9007199254740993",
                                             "9223372036854775807",
                                             "9223372036854775808",
                                             "-9223372036854775808",
                                             "-9223372036854775809",
                                             "18446744073709551615",
                                             "18446744073709551616",
                                             "340282366920938463463374607431768211455",
                                             "1.0",
                                             "0.0",
                                             "-0.0",
                                             "1e2",
                                             "1E2",
                                             "100e-2",
                                             "37.5",
                                             "1e300"};
      return number(pick(numbers));
   }

   std::string bytes() {
      static std::string const texts[] = {"",
                                          "36",
                                          "36 (Min/Max 20/45)",
                                          std::string(1, '\0'),
                                          std::string("a\0b", 3),
                                          "\xff\xfe",
                                          "\xc3\xa9",
                                          "\xed\xa0\x80",
                                          "\"\\/\b\f\n\r\t",
                                          "Power_On_Hours",
                                          "100",
                                          "\xf4\x90\x80\x80 beyond",
                                          "\x01\x1f"};
      return pick(texts);
   }

   // Of any kind.
   Value any(unsigned depth = 2) {
      switch (below(depth == 0 ? 4 : 6)) {
         case 0:
            return literal(pick(literals_));
         case 1:
            return string(bytes());
         case 4: {
            Value value = array();
            for (unsigned count = below(3); count > 0; --count)
               value.elements.push_back(any(depth - 1));
            return value;
         }
         case 5: {
            Value value = object();
            for (unsigned count = below(3); count > 0; --count)
               value.members.push_back({pick(memberNames_), any(depth - 1)});
            return value;
         }
         default:
            return number();
      }
   }

   // Now and then leaves the member out, gives it some other value or repeats its name.
   void add(Value & to, std::string const & name, Value value, unsigned rarity = 24) {
      if (oneIn(rarity))
         return;
      if (oneIn(rarity))
         to.members.push_back({misspelt(name), any()});
      if (oneIn(rarity))
         value = any();
      to.members.push_back({name, std::move(value)});
      if (oneIn(rarity))
         to.members.push_back({name, any()});
   }

   std::string misspelt(std::string name) {
      static std::string const pieces[] = {"x", "", " ", "_", std::string(1, '\0'), "\xff"};
      std::string const piece = pick(pieces);
      if (oneIn(2))
         return name + (piece.empty() ? "s" : piece);
      return name.replace(below(static_cast<unsigned>(name.size())), 1, piece);
   }

   void shuffle(Value & object) {
      for (std::size_t i = object.members.size(); i > 1; --i)
         std::swap(object.members[i - 1], object.members[below(static_cast<unsigned>(i))]);
   }

   std::string text(Value const & value) {
      std::string to;
      write(to, value);
      return to;
   }

 private:
   static Value plain(char kind, std::string text) {
      Value value;
      value.kind = kind;
      value.text = std::move(text);
      return value;
   }

   void space(std::string & to) {
      static char const * const spaces[] = {" ", "\n", "\t", "\r\n  "};
      if (oneIn(8))
         to += pick(spaces);
   }

   void writeString(std::string & to, std::string const & text) {
      bool const isEscaped = oneIn(24);
      bool const isPlain = text.find_first_of(special_) == std::string::npos;
      to += '"';
      if (isPlain && !isEscaped) {
         to += text + '"';
         return;
      }
      for (char const c : text) {
         auto const code = static_cast<unsigned char>(c);
         if (code < 0x20 || (isEscaped && code < 0x80 && oneIn(3))) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, oneIn(2) ? "\\u%04x" : "\\u%04X", unsigned{code});
            to += escaped;
         } else {
            if (c == '"' || c == '\\')
               to += '\\';
            to += c;
         }
      }
      to += '"';
   }

   void write(std::string & to, Value const & value) {
      space(to);
      if (value.kind == '"') {
         writeString(to, value.text);
      } else if (value.kind == '[') {
         to += '[';
         for (auto const & element : value.elements) {
            to += &element == value.elements.data() ? "" : ",";
            write(to, element);
         }
         to += ']';
      } else if (value.kind == '{') {
         to += '{';
         for (auto const & member : value.members) {
            to += &member == value.members.data() ? "" : ",";
            writeString(to, member.name);
            space(to);
            to += ':';
            write(to, member.value);
         }
         to += '}';
      } else {
         to += value.text;
      }
      space(to);
   }

   // Characters that a JSON text must not contain unescaped.
   inline static std::string const special_ = [] {
      std::string characters = "\"\\";
      for (char c = 0; c < 0x20; ++c)
         characters += c;
      return characters;
   }();
   static constexpr char const * literals_[] = {"true", "false", "null"};
   static constexpr char const * memberNames_[] = {"value", "string", "passed", "table", "id", "", "other"};

   std::mt19937 random_;
};

}  // namespace StorageDevices
