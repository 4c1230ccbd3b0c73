// Reads a text from left to right: literals, and runs of characters of one class.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "StorageDevices/CharacterClasses.h"

namespace StorageDevices {

using Place = char const *;

constexpr bool isLower(char c) {
   return c >= 'a' && c <= 'z';
}

constexpr bool isLetter(char c) {
   return isLower(c) || (c >= 'A' && c <= 'Z');
}

constexpr bool isAlnum(char c) {
   return isLetter(c) || isDigit(c);
}

constexpr bool isAlnumOrBlank(char c) {
   return isAlnum(c) || c == ' ';
}

// The characters that "." matches in an ECMAScript expression.
constexpr bool isInLine(char c) {
   return c != '\n' && c != '\r';
}

inline std::string_view between(Place from, Place to) {
   return {from, static_cast<std::size_t>(to - from)};
}

// The length up to a line feed or a carriage return. Searches piece by piece: otherwise each of many short
// lines that end with one of the two would search the whole text for the other.
inline std::size_t lengthOfLine(std::string_view text) {
   constexpr std::size_t pieceSize = 128;
   for (std::size_t at = 0; at < text.size(); at += pieceSize) {
      std::string_view const piece = text.substr(at, pieceSize);
      std::size_t const size = std::min(piece.find('\n'), piece.find('\r'));
      if (size != piece.npos)
         return at + size;
   }
   return text.size();
}

// The position of the two characters side by side, or npos. Searches for them alternately, so that many of
// one cost no time if there are few of the other.
inline std::size_t findPair(std::string_view text, char first, char second) {
   for (auto at = text.find(first); at != text.npos; at = text.find(first, at)) {
      at = text.find(second, at + 1);
      if (at == text.npos || text[at - 1] == first)
         return at == text.npos ? at : at - 1;
   }
   return text.npos;
}

// A position in a text. A consuming function that answers false leaves it where it was.
struct Cursor {
   Place at;
   Place end;

   std::string_view rest() const { return between(at, end); }

   bool consume(std::string_view text) {
      if (!rest().starts_with(text))
         return false;
      at += text.size();
      return true;
   }

   template <bool (*belongs)(char)>
   bool consumeOne() {
      if (at == end || !belongs(*at))
         return false;
      ++at;
      return true;
   }

   // Removes the longest run of such characters, which may be empty.
   template <bool (*belongs)(char)>
   std::string_view run() {
      Place const from = at;
      while (at != end && belongs(*at))
         ++at;
      return between(from, at);
   }

   template <bool (*belongs)(char)>
   bool consumeRun() {
      return !run<belongs>().empty();
   }
};

}  // namespace StorageDevices
