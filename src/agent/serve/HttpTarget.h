// The path and the arguments of a request's target.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Agent {

struct HttpRequest {
   // Decoded, except for a text with an encoded NUL byte. Arguments without a value are left out.
   std::string path;
   std::vector<std::pair<std::string, std::string>> arguments;
   // What the client of an event stream got last, by its own account; empty where it does not say.
   std::string lastEventId = {};

   // The value of the first argument of that name; null without one.
   char const * argument(std::string_view name) const;
};

inline constexpr std::size_t mostArguments = 100;

// Reads "/path?name=value&…". Raises HttpRefusal: 400 for another form of target, 414 for too many arguments.
HttpRequest requestOf(std::string_view target);

}  // namespace Agent
