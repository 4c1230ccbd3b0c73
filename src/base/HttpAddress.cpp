#include "base/HttpAddress.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstring>

#include "base/Number.h"

namespace Base {

namespace {

bool isIpv6(std::string const & host) {
   return host.find(':') != std::string::npos;
}

bool isNumericAddress(std::string const & host, bool bracketed) {
   in6_addr address{};
   return inet_pton(bracketed ? AF_INET6 : AF_INET, host.c_str(), &address) == 1;
}

std::optional<std::uint16_t> parsePort(std::string_view text) {
   constexpr std::size_t mostDigits = 5;
   auto const port = parseWhole<std::uint16_t>(text);
   return port > 0 && text.size() <= mostDigits ? port : std::nullopt;
}

bool sameIgnoringCase(std::string_view text, std::string_view lowerCase) {
   auto const lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; };
   return std::equal(text.begin(), text.end(), lowerCase.begin(), lowerCase.end(),
                     [lower](char a, char b) { return lower(a) == b; });
}

// The host of "HOST", "HOST:PORT", "[HOST]" or "[HOST]:PORT".
std::optional<std::string> hostOf(std::string_view header) {
   bool const bracketed = header.starts_with('[');
   std::size_t const end = bracketed ? header.find(']') : header.find(':');
   if (bracketed && end == std::string_view::npos)
      return std::nullopt;
   std::string const host{bracketed ? header.substr(1, end - 1) : header.substr(0, end)};
   std::string_view const rest = header.substr(std::min(header.size(), bracketed ? end + 1 : end));
   bool const good = rest.empty() || (rest.front() == ':' && parsePort(rest.substr(1)));
   return good && bracketed == isIpv6(host) ? std::optional{host} : std::nullopt;
}

bool sameAddress(std::string const & left, std::string const & right) {
   in6_addr a{};
   in6_addr b{};
   int const family = isIpv6(left) ? AF_INET6 : AF_INET;
   return inet_pton(family, left.c_str(), &a) == 1 && inet_pton(family, right.c_str(), &b) == 1 &&
          std::memcmp(&a, &b, sizeof a) == 0;
}

bool isEveryAddress(std::string const & host) {
   return sameAddress(host, isIpv6(host) ? "::" : "0.0.0.0");
}

}  // namespace

bool HttpAddress::loopback() const {
   if (!isIpv6(host))
      return host.starts_with("127.");
   in6_addr address{};
   return inet_pton(AF_INET6, host.c_str(), &address) == 1 && IN6_IS_ADDR_LOOPBACK(&address);
}

bool HttpAddress::isNamedBy(std::string_view hostHeader) const {
   auto const named = hostOf(hostHeader);
   if (!named)
      return false;
   if (sameIgnoringCase(*named, "localhost"))
      return true;
   if (!isNumericAddress(*named, isIpv6(*named)))
      return false;
   return HttpAddress{*named}.loopback() || isEveryAddress(host) || sameAddress(*named, host);
}

std::string HttpAddress::text() const {
   return (isIpv6(host) ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

std::optional<HttpAddress> parseHttpAddress(std::string_view text) {
   bool const bracketed = text.starts_with('[');
   std::size_t const colon = text.rfind(':');
   if (colon == std::string_view::npos || (bracketed && (colon < 2 || text[colon - 1] != ']')))
      return std::nullopt;
   std::string const host{bracketed ? text.substr(1, colon - 2) : text.substr(0, colon)};
   auto const port = parsePort(text.substr(colon + 1));
   if (host.find('\0') != std::string::npos || !isNumericAddress(host, bracketed) || !port.has_value())
      return std::nullopt;
   return HttpAddress{host, *port};
}

}  // namespace Base
