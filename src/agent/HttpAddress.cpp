#include "agent/HttpAddress.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <charconv>

namespace Agent {

namespace {

bool isIpv6(std::string const & host) {
   return host.find(':') != std::string::npos;
}

bool isNumericAddress(std::string const & host, bool bracketed) {
   in6_addr address{};
   return inet_pton(bracketed ? AF_INET6 : AF_INET, host.c_str(), &address) == 1;
}

std::optional<std::uint16_t> parsePort(std::string_view text) {
   auto const isDigit = [](char c) { return c >= '0' && c <= '9'; };
   unsigned port = 0;
   if (text.empty() || text.size() > 5 || !std::all_of(text.begin(), text.end(), isDigit))
      return std::nullopt;
   std::from_chars(text.data(), text.data() + text.size(), port);
   if (port < 1 || port > 65535)
      return std::nullopt;
   return static_cast<std::uint16_t>(port);
}

}  // namespace

bool HttpAddress::loopback() const {
   if (!isIpv6(host))
      return host.starts_with("127.");
   in6_addr address{};
   return inet_pton(AF_INET6, host.c_str(), &address) == 1 && IN6_IS_ADDR_LOOPBACK(&address);
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

}  // namespace Agent
