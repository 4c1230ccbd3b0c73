#include "base/HttpAddress.h"

#include <gtest/gtest.h>

#include <string_view>

namespace Base {
namespace {

TEST(HttpAddressTest, ReadsNumericAddresses) {
   EXPECT_EQ(parseHttpAddress("127.0.0.1:9634"), (HttpAddress{"127.0.0.1", 9634}));
   EXPECT_EQ(parseHttpAddress("0.0.0.0:1"), (HttpAddress{"0.0.0.0", 1}));
   EXPECT_EQ(parseHttpAddress("[::1]:65535"), (HttpAddress{"::1", 65535}));
   EXPECT_EQ(parseHttpAddress("[fd00::7]:80"), (HttpAddress{"fd00::7", 80}));
}

TEST(HttpAddressTest, RefusesEverythingElse) {
   for (char const * text : {"",
                             ":",
                             "9634",
                             ":9634",
                             "127.0.0.1",
                             "127.0.0.1:",
                             "127.0.0.1:0",
                             "127.0.0.1:65536",
                             "127.0.0.1:99999999999",
                             "127.0.0.1:+80",
                             "127.0.0.1:80 ",
                             " 127.0.0.1:80",
                             "127.0.0.1:-1",
                             "127.0.0:80",
                             "256.0.0.1:80",
                             "localhost:80",
                             "::1:80",
                             "[::1]",
                             "[::1]80",
                             "[]:80",
                             "[:80",
                             "[127.0.0.1]:80",
                             "[::1:80",
                             "http://127.0.0.1:80",
                             "[fe80::1%eth0]:80"})
      EXPECT_EQ(parseHttpAddress(text), std::nullopt) << text;
   EXPECT_EQ(parseHttpAddress(std::string_view{"127.0.0.1\0:80", 13}), std::nullopt);
}

TEST(HttpAddressTest, KnowsAddressesOfThisMachine) {
   EXPECT_TRUE(parseHttpAddress("127.0.0.1:80")->loopback());
   EXPECT_TRUE(parseHttpAddress("127.255.0.9:80")->loopback());
   EXPECT_TRUE(parseHttpAddress("[::1]:80")->loopback());
   EXPECT_TRUE(parseHttpAddress("[0:0:0:0:0:0:0:1]:80")->loopback());
   EXPECT_FALSE(parseHttpAddress("0.0.0.0:80")->loopback());
   EXPECT_FALSE(parseHttpAddress("[::]:80")->loopback());
   EXPECT_FALSE(parseHttpAddress("10.0.0.1:80")->loopback());
}

TEST(HttpAddressTest, IsWrittenAsItIsRead) {
   for (char const * text : {"127.0.0.1:9634", "[::1]:80"})
      EXPECT_EQ(parseHttpAddress(text)->text(), text);
}

}  // namespace
TEST(HttpAddressTest, AcceptsARequestThatNamesItOrThisMachine) {
   auto const named = [](char const * address, std::string_view host) {
      return parseHttpAddress(address)->isNamedBy(host);
   };
   for (char const * const host : {"localhost", "LocalHost:80", "127.0.0.1", "127.0.0.1:9634", "127.9.9.9:1",
                                   "[::1]", "[::1]:9634", "[0:0::1]"})
      EXPECT_TRUE(named("127.0.0.1:9634", host)) << host;
   EXPECT_TRUE(named("192.0.2.7:9634", "192.0.2.7:9634"));
   EXPECT_TRUE(named("192.0.2.7:9634", "localhost"));
   EXPECT_TRUE(named("[2001:db8::7]:9634", "[2001:DB8:0::7]:9634"));
   EXPECT_TRUE(named("0.0.0.0:9634", "192.0.2.9:9634"));
   EXPECT_TRUE(named("[::]:9634", "192.0.2.9"));
   EXPECT_TRUE(named("[::]:9634", "[2001:db8::9]"));
}

TEST(HttpAddressTest, RefusesARequestThatNamesAnotherHost) {
   auto const named = [](char const * address, std::string_view host) {
      return parseHttpAddress(address)->isNamedBy(host);
   };
   for (char const * const host : {"",
                                   ":",
                                   ":9634",
                                   "evil.example",
                                   "evil.example:9634",
                                   "localhost.evil.example",
                                   "127.0.0.1.evil.example",
                                   "127.evil.example",
                                   "192.0.2.7",
                                   "[::2]",
                                   "::1",
                                   "[::1",
                                   "[127.0.0.1]",
                                   "localhost:",
                                   "localhost:x",
                                   "localhost:99999",
                                   "localhost:80:80",
                                   "localhost 127.0.0.1",
                                   " localhost",
                                   "127.0.0.1@evil.example",
                                   "0x7f.1",
                                   "127.1"})
      EXPECT_FALSE(named("127.0.0.1:9634", host)) << host;
   EXPECT_FALSE(named("192.0.2.7:9634", "192.0.2.8:9634"));
   EXPECT_FALSE(named("0.0.0.0:9634", "evil.example"));
   EXPECT_FALSE(named("127.0.0.1:9634", std::string_view{"localhost\0x", 11}));
}

}  // namespace Base
