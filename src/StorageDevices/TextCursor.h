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

// What "." takes in an ECMAScript expression.
constexpr bool isInLine(char c) {
   return c != '\n' && c != '\r';
}

inline std::string_view between(Place from, Place to) {
   return {from, static_cast<std::size_t>(to - from)};
}

// Up to a line feed or a carriage return. Searched piece by piece, so that many short lines that one of the
// two ends do not each search the whole text for the other.
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

// Where the two characters stand side by side, npos where they do not. Leaps from one to the other: many of
// the one take no time where there are few of the other.
inline std::size_t findPair(std::string_view text, char first, char second) {
   for (auto at = text.find(first); at != text.npos; at = text.find(first, at)) {
      at = text.find(second, at + 1);
      if (at == text.npos || text[at - 1] == first)
         return at == text.npos ? at : at - 1;
   }
   return text.npos;
}

// Where reading has got to. What takes() refuses stays unread.
struct Cursor {
   Place at;
   Place end;

   std::string_view rest() const { return between(at, end); }

   bool takes(std::string_view text) {
      if (!rest().starts_with(text))
         return false;
      at += text.size();
      return true;
   }

   template <bool (*belongs)(char)>
   bool takesOne() {
      if (at == end || !belongs(*at))
         return false;
      ++at;
      return true;
   }

   // As many as there are, which may be none.
   template <bool (*belongs)(char)>
   std::string_view run() {
      Place const from = at;
      while (at != end && belongs(*at))
         ++at;
      return between(from, at);
   }

   template <bool (*belongs)(char)>
   bool takesRun() {
      return !run<belongs>().empty();
   }
};

}  // namespace StorageDevices
