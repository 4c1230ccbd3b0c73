#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>

#include "agent/config/Config.h"
#include "base/Text.h"
#include "tests/support/EveryKey.h"

namespace Agent {
namespace {

std::string refusal(std::string const & text) {
   try {
      parseConfig(text, "/etc/x.toml");
   } catch (ConfigError const & error) {
      return error.what();
   }
   return "accepted";
}

// A byte changed, left out, doubled or cut off, a line left out or doubled.
std::string mutated(std::string text, std::mt19937 & random) {
   constexpr std::string_view bytes = "\"'[]{}=.,#\\\n -+_0159aeEx\t\r\x01\x7f\xff\xc3\xa9";
   for (unsigned left = 1 + random() % 3; left > 0; --left) {
      std::size_t const at = random() % text.size();
      std::size_t const line = text.rfind('\n', at) + 1;
      std::size_t const length = text.find('\n', at) - line + 1;
      switch (random() % 6) {
         case 0:
            text[at] = bytes[random() % bytes.size()];
            break;
         case 1:
            text.erase(at, 1 + random() % 3);
            break;
         case 2:
            text.insert(at, 1, bytes[random() % bytes.size()]);
            break;
         case 3:
            text.insert(line, text.substr(line, length));
            break;
         case 4:
            text.erase(line, length);
            break;
         default:
            text.resize(std::max<std::size_t>(at, 100));
      }
   }
   return text;
}

TEST(ConfigMutationTest, IsReadOrRefusedByFileAndLine) {
   std::mt19937 random{11};  // NOLINT(cert-msc51-cpp): the same texts each time
   std::size_t refused = 0;
   for (int round = 0; round < 3000; ++round) {
      std::string const text = mutated(Support::everyKey, random);
      std::string const message = refusal(text);
      if (message == "accepted")
         continue;
      ++refused;
      std::string const file = "/etc/x.toml:";
      ASSERT_TRUE(message.starts_with(file)) << message;
      std::size_t digits = 0;
      int const line = std::stoi(message.substr(file.size()), &digits);
      ASSERT_EQ(message.substr(file.size() + digits, 2), ": ") << message;
      ASSERT_TRUE(line >= 1 && line <= 1 + std::count(text.begin(), text.end(), '\n')) << message << "\n"
                                                                                       << text;
      ASSERT_EQ(Base::escaped(message), message);
   }
   EXPECT_GT(refused, 1000U);
   EXPECT_LT(refused, 3000U);
}

}  // namespace
}  // namespace Agent
