// The reading of eMMC registers against a naive one, on random texts.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <random>
#include <string>

#include "NaiveHealth.h"
#include "StorageDevices/EmmcDataMonitorSm.h"
#include "tests/support/RandomSeed.h"
#include "tests/support/TempDir.h"

namespace StorageDevices {
namespace {

#ifdef STORAGEDEVICES_SANITIZED
constexpr int registerRuns = 10'000;
#else
constexpr int registerRuns = 100'000;
#endif

// A file of the folder that is overwritten many times, and therefore in memory.
class Register {
 public:
   Register(std::filesystem::path const & folder, char const * name)
       : descriptor_{memfd_create(name, MFD_CLOEXEC)} {
      std::filesystem::create_symlink("/proc/self/fd/" + std::to_string(descriptor_), folder / name);
   }
   Register(Register const &) = delete;
   Register & operator=(Register const &) = delete;
   ~Register() { close(descriptor_); }

   void textIs(std::string const & text) const {
      ASSERT_EQ(ftruncate(descriptor_, 0), 0);
      ASSERT_EQ(pwrite(descriptor_, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
   }

 private:
   int descriptor_;
};

class TextMaker {
 public:
   explicit TextMaker(std::uint32_t seed) : random_{seed} {}

   // What a prefix behind a prefix means is left to the standard library.
   std::string text() {
      std::string text = anyText();
      while (text.find("0x0x") != std::string::npos || text.find("0x0X") != std::string::npos)
         text = anyText();
      return text;
   }

 private:
   using Pieces = std::vector<std::string>;

   std::string anyText() {
      std::string text = piece(starts_);
      for (unsigned count = below(16) == 0 ? below(4) : 2; count > 0; --count)
         text += number() + (below(12) == 0 ? piece(noises_) : piece(spaces_));
      return text;
   }

   unsigned below(unsigned bound) { return static_cast<unsigned>(random_() % bound); }
   std::string piece(Pieces const & from) { return from[below(static_cast<unsigned>(from.size()))]; }

   std::string number() {
      if (below(10) == 0)
         return piece(oddNumbers_);
      char digits[16];
      std::snprintf(digits, sizeof digits, below(2) == 0 ? "%02x" : "%X", below(256));
      return piece(prefixes_) + digits;
   }

   std::mt19937 random_;
   Pieces const starts_{"", "", "", "", "\n", " ", "\xef\xbb\xbf", std::string(1, '\0')};
   Pieces const prefixes_{"0x", "0x", "0x", "0X", "", "0", "00", "+", "+0x"};
   Pieces const spaces_{" ", " ", " ", "\n", "\t", "  ", "\r\n", "\v\f"};
   Pieces const noises_{"", ",", "x", "h", " - ", "0x", " 0x ", std::string(1, '\0'), "_", "\xa0", ".5"};
   Pieces const oddNumbers_{"0x100",     "100",       "ffffffff",    "0x100000000",       "-1",
                            "-ffffffff", "-fffffff5", "0xfffffffff", "-100000000",        "-",
                            "0x",        "g",         "0",           "000000000000000001"};
};

TEST(EmmcDataAccessOracleTest, ReadsRandomRegistersAsANaiveReaderDoes) {
   TextMaker maker(Support::randomSeed(20240615));
   Support::TempDir const folder;
   Register const lifeTime(folder.path(), "life_time");
   Register const preEolInfo(folder.path(), "pre_eol_info");
   int stored = 0;
   for (int i = 0; i < registerRuns; ++i) {
      std::string const lives = maker.text();
      std::string const eol = maker.text();
      ASSERT_NO_FATAL_FAILURE(lifeTime.textIs(lives));
      ASSERT_NO_FATAL_FAILURE(preEolInfo.textIs(eol));
      auto const data = Pelm::make<DeviceEmmcData>("SN1");
      bool const isRead = EmmcDataAccess::getEmmcAttrs(folder.string(), *data);
      auto const expected = NaiveHealth::naiveRegisters(lives, eol);
      ASSERT_EQ(isRead, expected.has_value()) << testing::PrintToString(lives) << testing::PrintToString(eol);
      ASSERT_EQ(NaiveHealth::registersOf(*data), expected)
          << testing::PrintToString(lives) << testing::PrintToString(eol);
      ASSERT_EQ(data->reading.count(), isRead ? 1U : 0U);
      stored += isRead ? 1 : 0;
   }
   EXPECT_GT(stored, registerRuns / 5);
   EXPECT_LT(stored, registerRuns - registerRuns / 5);
}

}  // namespace
}  // namespace StorageDevices
