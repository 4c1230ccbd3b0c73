// How the readers of kernel errors take a line apart.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>

#include "StorageDevices/TextCursor.h"

namespace Agent {

using Words = std::initializer_list<std::string_view>;

inline StorageDevices::Cursor cursorOf(std::string_view text) {
   return {text.data(), text.data() + text.size()};
}

inline bool startsWithOneOf(std::string_view text, auto const & starts) {
   return std::any_of(starts.begin(), starts.end(),
                      [text](std::string_view start) { return text.starts_with(start); });
}

inline bool startsWithOneOf(std::string_view text, Words starts) {
   return startsWithOneOf<Words>(text, starts);
}

inline bool hasOneOf(std::string_view text, Words words) {
   return std::any_of(words.begin(), words.end(),
                      [text](std::string_view word) { return text.find(word) != text.npos; });
}

// For errors of which the library knows no words at all: it reads a device from these whoever says them, and
// the kernel's own are left to follow.
inline std::string unexpected(std::string_view subject, std::string_view device, std::string_view text) {
   std::string result{subject};
   return result.append(" (").append(device).append("): This should not happen: ").append(text);
}

}  // namespace Agent
