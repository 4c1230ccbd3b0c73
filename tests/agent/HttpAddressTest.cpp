#include "agent/HttpAddress.h"

#include <gtest/gtest.h>

namespace Agent {
namespace {

TEST(HttpAddress, readsNumericAddresses) {
   EXPECT_EQ(parseHttpAddress("127.0.0.1:9634"), (HttpAddress{"127.0.0.1", 9634}));
   EXPECT_EQ(parseHttpAddress("0.0.0.0:1"), (HttpAddress{"0.0.0.0", 1}));
   EXPECT_EQ(parseHttpAddress("[::1]:65535"), (HttpAddress{"::1", 65535}));
   EXPECT_EQ(parseHttpAddress("[fd00::7]:80"), (HttpAddress{"fd00::7", 80}));
}

TEST(HttpAddress, refusesEverythingElse) {
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

TEST(HttpAddress, knowsWhatStaysOnThisMachine) {
   EXPECT_TRUE(parseHttpAddress("127.0.0.1:80")->loopback());
   EXPECT_TRUE(parseHttpAddress("127.255.0.9:80")->loopback());
   EXPECT_TRUE(parseHttpAddress("[::1]:80")->loopback());
   EXPECT_TRUE(parseHttpAddress("[0:0:0:0:0:0:0:1]:80")->loopback());
   EXPECT_FALSE(parseHttpAddress("0.0.0.0:80")->loopback());
   EXPECT_FALSE(parseHttpAddress("[::]:80")->loopback());
   EXPECT_FALSE(parseHttpAddress("10.0.0.1:80")->loopback());
}

TEST(HttpAddress, isWrittenAsItIsRead) {
   for (char const * text : {"127.0.0.1:9634", "[::1]:80"})
      EXPECT_EQ(parseHttpAddress(text)->text(), text);
}

}  // namespace
}  // namespace Agent
