// The hand-written search against std::regex, and its cost on inputs on which std::regex fails.
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <functional>
#include <random>
#include <string>

#include "DataFiles.h"
#include "StorageDevices/HdparmReport.h"
#include "tests/support/Regex.h"

namespace StorageDevices {
namespace {

#ifdef STORAGEDEVICES_SANITIZED
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = false;
#endif

std::optional<HdparmIdentity> identityByRegex(std::string const & report) {
   static Support::Regex const pattern(
       R"(\s*Model Number:\s+([\w -\.]*)\n\s*Serial Number:\s+([\w -]*)\n\s*Firmware Revision:\s+([\w -\/]*)\n)");
   auto const match = pattern.search(report.c_str());
   if (match.empty())
      return std::nullopt;
   return HdparmIdentity{match[1], match[2], match[3]};
}

std::optional<std::string_view> sizeByRegex(std::string const & report) {
   static Support::Regex const pattern(R"(\((\d+) GB\))");
   auto const match = pattern.search(report.c_str());
   return match.empty() ? std::nullopt : std::optional(match[1]);
}

// Makes reports that are whole, nearly so, or nothing but their fragments.
class ReportMaker {
 public:
   std::string report() {
      std::string text;
      for (unsigned count = below(3); count > 0; --count)
         text += fragment();
      unsigned const kind = below(8);
      if (kind == 0) {
         for (unsigned count = below(12); count > 0; --count)
            text += fragment();
      } else {
         for (unsigned line = 0; line < 3; ++line)
            text += lineOf(line);
         text += kind == 1 ? lineOf(0) + lineOf(1) + lineOf(2) : kind == 2 ? fragment() : std::string();
      }
      if (below(10) == 0 && !text.empty())
         text.erase(below(static_cast<unsigned>(text.size())), 1 + below(4));
      return text;
   }

   std::string sizes() {
      static std::array<std::string, 12> const pieces{"(", ")",  "1", "256",  " GB)",  " GB",
                                                      " ", "GB", "x", "(12 ", "(3 GB", std::string(1, '\0')};
      std::string text;
      for (unsigned count = 1 + below(8); count > 0; --count)
         text += pick(pieces);
      return text;
   }

 private:
   unsigned below(unsigned bound) { return static_cast<unsigned>(random_() % bound); }

   template <std::size_t size>
   std::string const & pick(std::array<std::string, size> const & from) {
      return from[below(size)];
   }

   std::string fragment() {
      static std::array<std::string, 32> const pieces{"Model Number:",
                                                      "Serial Number:",
                                                      "Firmware Revision:",
                                                      "Model Number",
                                                      "Serial ",
                                                      "Revision:",
                                                      " ",
                                                      "  ",
                                                      "\t",
                                                      "\n",
                                                      "\n\n",
                                                      "\r",
                                                      "\f",
                                                      "\v",
                                                      " \n ",
                                                      "\n \n",
                                                      "!",
                                                      "(",
                                                      ")",
                                                      ",",
                                                      "-",
                                                      ".",
                                                      "/",
                                                      ":",
                                                      "A",
                                                      "z_9",
                                                      "\x1F",
                                                      "\x80",
                                                      "\xFF",
                                                      "Number:",
                                                      "(1 GB)",
                                                      std::string(1, '\0')};
      return pick(pieces);
   }

   // White space, mostly of the kind that lets a line go on.
   std::string space() {
      static std::array<std::string, 12> const pieces{" ",   " ",   "  ", "\t", "\n",      "\n\n",
                                                      " \n", "\n ", "\r", "\f", " \n \n ", ""};
      return pick(pieces) + (below(3) == 0 ? pick(pieces) : "");
   }

   std::string value() {
      static std::array<std::string, 20> const pieces{
          "",  "",  "A",  "M 1",      "x-y",           "_", "9 ", " ", "!", "(", ")", ",", "-", ".",
          "/", ":", "\t", "\xC3\xA9", "Serial Number", "\r"};
      std::string text = pick(pieces);
      for (unsigned count = below(3); count > 0; --count)
         text += below(3) == 0 ? pick(pieces) : "a";
      return text;
   }

   std::string lineOf(unsigned number) {
      static std::array<std::string, 3> const labels{"Model Number:", "Serial Number:", "Firmware Revision:"};
      std::string const label = below(24) == 0 ? fragment() : labels[number];
      std::string const end = below(10) == 0 ? fragment() : "\n";
      return (below(2) == 0 ? space() : "") + label + space() + value() + end;
   }

   std::mt19937 random_{20240607};
};

TEST(HdparmReportOracleTest, MatchesTheRegularExpressionsOnRandomReports) {
   ReportMaker maker;
   int found = 0;
   int const count = isSanitized ? 5'000 : 200'000;
   for (int i = 0; i < count; ++i) {
      std::string const report = maker.report();
      auto const expected = identityByRegex(report);
      ASSERT_EQ(findIdentity(report), expected) << testing::PrintToString(report);
      found += expected ? 1 : 0;
      std::string const sizes = maker.sizes();
      ASSERT_EQ(findSizeGb(sizes), sizeByRegex(sizes)) << testing::PrintToString(sizes);
   }
   // Otherwise the inputs would test only one side of the question.
   EXPECT_GT(found, count / 20);
   EXPECT_LT(found, count - count / 20);
}

// What the two searches say of a report cut off or damaged at every place.
TEST(HdparmReportOracleTest, MatchesTheRegularExpressionsOnADamagedReport) {
   std::string const whole =
       "(8 GB)\n Model Number:  \n M-1.0 \n\n\tSerial Number: \n\nFirmware Revision: /1 \n(16 GB)";
   for (std::size_t at = 0; at < whole.size(); ++at) {
      for (char const c : {'\n', ' ', '\t', ':', '/', 'x', '\0', '\x80'}) {
         std::string changed = whole;
         changed[at] = c;
         std::string inserted = whole;
         inserted.insert(at, 1, c);
         for (auto const & report : {changed, inserted, whole.substr(at), whole.substr(0, at)}) {
            ASSERT_EQ(findIdentity(report), identityByRegex(report)) << testing::PrintToString(report);
            ASSERT_EQ(findSizeGb(report), sizeByRegex(report)) << testing::PrintToString(report);
         }
      }
   }
}

TEST(HdparmReportOracleTest, MatchesTheRegularExpressionsOnReportsOfRealDisks) {
   SKIP_WITHOUT_CORPUS();
   auto const files = TestData::corpusFiles("hdparm-I");
   ASSERT_FALSE(files.empty());
   for (auto const & file : files) {
      std::string const report = TestData::contentOf(file);
      auto const expected = identityByRegex(report);
      EXPECT_TRUE(expected) << file;
      EXPECT_EQ(findIdentity(report), expected) << file;
      EXPECT_EQ(findSizeGb(report), sizeByRegex(report)) << file;
   }
}

double processorSeconds() {
   timespec now{};
   clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
   return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

std::string repeated(std::string const & piece, std::size_t size) {
   std::string text;
   while (text.size() + piece.size() <= size)
      text += piece;
   return text;
}

std::vector<std::string> hostileReports(std::size_t size) {
   std::string const model = "Model Number: a\n";
   std::string const both = model + "Serial Number: b\n";
   std::vector<std::string> reports;
   for (std::string const & piece :
        {std::string(" "), std::string("\n"), std::string(" \n"), std::string("M"),
         std::string("Model Number:"), std::string("Model Number: "), std::string("Model Number:\n\n"), model,
         both, both + "Firmware Revision: c:\n",
         std::string("Firmware Revision: Model Number: \n\nSerial Number: \n\n"), std::string("("),
         std::string("(1 GB"), std::string("1"), std::string("\x80")})
      reports.push_back(repeated(piece, size));
   reports.push_back("Model Number:" + std::string(size, '\n'));
   reports.push_back("Model Number:" + std::string(size, 'a'));
   reports.push_back(model + "Serial Number: " + std::string(size, '-'));
   reports.push_back(both + "Firmware Revision:" + std::string(size, ' '));
   reports.push_back("(" + std::string(size, '1'));
   return reports;
}

// Runs with no more stack than a careless recursion would need for a few thousand characters.
void runWithSmallStack(std::function<void()> body) {
   pthread_attr_t attributes;
   ASSERT_EQ(pthread_attr_init(&attributes), 0);
   ASSERT_EQ(pthread_attr_setstacksize(&attributes, isSanitized ? 512 * 1024 : 64 * 1024), 0);
   pthread_t thread{};
   auto const run = [](void * function) -> void * {
      (*static_cast<std::function<void()> *>(function))();
      return nullptr;
   };
   ASSERT_EQ(pthread_create(&thread, &attributes, run, &body), 0);
   pthread_join(thread, nullptr);
   pthread_attr_destroy(&attributes);
}

// The least of a few runs, since the machine may be busy.
double secondsToReject(std::string const & report) {
   double least = 1e9;
   for (int run = 0; run < 3; ++run) {
      double const start = processorSeconds();
      bool const identity = findIdentity(report).has_value();
      bool const size = findSizeGb(report).has_value();
      least = std::min(least, processorSeconds() - start);
      EXPECT_FALSE(identity || size);
   }
   return least;
}

TEST(HdparmReportOracleTest, RejectsHostileReportsFastAndWithoutDeepStack) {
#ifdef __OPTIMIZE__
   constexpr double limit = 2 * 0.05;  // for both searches
#else
   constexpr double limit = 2 * 0.5;
#endif
   std::size_t const size = isSanitized ? 256 * 1024 : 4 * 1024 * 1024;
   for (auto const & report : hostileReports(size)) {
      double seconds = 0;
      runWithSmallStack([&] { seconds = secondsToReject(report); });
      EXPECT_TRUE(isSanitized || seconds < limit)
          << seconds << " s: " << testing::PrintToString(report.substr(0, 60));
   }
}

}  // namespace
}  // namespace StorageDevices
