// The character classes of the C locale, independent of the host's locale. Bytes from 0x80 on are in no
// class.
#pragma once

namespace StorageDevices {

constexpr bool isSpace(char c) {
   return c == ' ' || (c >= '\t' && c <= '\r');
}

constexpr bool isDigit(char c) {
   return c >= '0' && c <= '9';
}

constexpr bool isWord(char c) {
   return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

// The value of a hexadecimal digit of either case, -1 for any other character.
constexpr int hexDigitValue(char c) {
   if (isDigit(c))
      return c - '0';
   if (c >= 'a' && c <= 'f')
      return c - 'a' + 10;
   if (c >= 'A' && c <= 'F')
      return c - 'A' + 10;
   return -1;
}

}  // namespace StorageDevices
