// The TCP address that the agent may also serve on.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Agent {

struct HttpAddress {
   std::string host;        // a numeric IPv4 or IPv6 address, without brackets
   std::uint16_t port = 0;  // 1 to 65535

   // Only programs on this machine can reach it: 127.0.0.0/8 and ::1.
   bool loopback() const;
   // Whether the Host of a request stands for it: "localhost", an address of loopback or this one. If this is
   // the one for all addresses ("0.0.0.0", "::"), any numeric address does, but no name: a name may be
   // another site's. The port may be any, since connections may be forwarded.
   bool isNamedBy(std::string_view hostHeader) const;
   // As it is written in the configuration: "127.0.0.1:9634", "[::1]:9634".
   std::string text() const;

   bool operator==(HttpAddress const &) const = default;
};

// Reads "ADDRESS:PORT" or "[IPV6ADDRESS]:PORT"; empty for anything else, host names included.
std::optional<HttpAddress> parseHttpAddress(std::string_view text);

}  // namespace Agent
