// The optional TCP address of the agent's server.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Base {

struct HttpAddress {
   std::string host;        // a numeric IPv4 or IPv6 address, without brackets
   std::uint16_t port = 0;  // 1 to 65535

   // Whether only programs on this machine can reach it: 127.0.0.0/8 and ::1.
   bool loopback() const;
   // Whether the Host of a request names this server: "localhost", a loopback address or this address. If
   // this is the address for all interfaces ("0.0.0.0", "::"), any numeric address does; another name never
   // does, since it may be that of another site. The port may differ, since connections may be forwarded.
   bool isNamedBy(std::string_view hostHeader) const;
   // In the configuration's spelling: "127.0.0.1:9634", "[::1]:9634".
   std::string text() const;

   bool operator==(HttpAddress const &) const = default;
};

// Reads "ADDRESS:PORT" or "[IPV6ADDRESS]:PORT"; nothing for any other text, such as a host name.
std::optional<HttpAddress> parseHttpAddress(std::string_view text);

}  // namespace Base
