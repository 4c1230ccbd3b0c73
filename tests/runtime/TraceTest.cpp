#include "runtime/Vorn/Trace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <locale>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "runtime/Pelm/String.h"
#include "runtime/Vorn/EnumType.h"
#include "runtime/Vorn/Seconds.h"
#include "runtime/host/Trace.h"

namespace {

class TraceTest : public testing::Test {
 protected:
   TraceTest() {
      Vorn::Host::traceSinkIs([this](Vorn::Host::TraceLine const & line) {
         lines.push_back(line.text);
         facility = line.facility;
         function = line.function;
         file = line.file;
         level = line.level;
      });
   }
   ~TraceTest() override { Vorn::Host::traceSinkIs(nullptr); }

   std::vector<std::string> lines;
   std::string facility;
   std::string function;
   std::string file;
   int level = -1;
};

class Shape : public Vorn::EnumType<unsigned char, Shape> {
 public:
   enum Value : unsigned char { round };
   static constexpr Vorn::EnumName<unsigned char> names[] = {{round, "round"}};
   using EnumType::EnumType;
};

TEST_F(TraceTest, WritesFacilityLevelAndPlaceOfALine) {
   Vorn::TraceHandle const handle{"TraceTestPlace", true};
   VORN_TRACE(handle, 0) << " it happened.";
   ASSERT_EQ(lines.size(), 1U);
   EXPECT_EQ(lines[0], " it happened.");
   EXPECT_EQ(facility, "TraceTestPlace");
   EXPECT_EQ(level, 0);
   EXPECT_EQ(function, "TestBody");
   EXPECT_NE(file.find("TraceTest.cpp"), std::string::npos);
}

TEST_F(TraceTest, StreamsAllTheTypesThatMonitorsTrace) {
   Vorn::TraceHandle const handle{"TraceTestTypes", true};
   VORN_TRACE(handle, 0) << "char const* " << static_cast<char const *>("x") << ' ' << Pelm::String{"pelm"}
                         << ' ' << std::string{"std"} << ' ' << -1 << ' ' << 4000000000U << ' '
                         << -5000000000L << ' ' << 5000000000UL << ' ' << static_cast<unsigned char>(65)
                         << ' ' << 0.5 << ' ' << Vorn::Seconds{1.5} << ' ' << Shape{Shape::round};
   EXPECT_EQ(lines.at(0), "char const* x pelm std -1 4000000000 -5000000000 5000000000 65 0.5 1.5 round");
}

TEST_F(TraceTest, SurvivesANullTextAndKeepsBytesAsTheyAre) {
   Vorn::TraceHandle const handle{"TraceTestNull", true};
   VORN_TRACE(handle, 0) << static_cast<char const *>(nullptr) << " and "
                         << Pelm::String{std::string{"a\0b", 3}};
   EXPECT_EQ(lines.at(0), std::string("(null) and a\0b", 14));
}

struct Grouping : std::numpunct<char> {
   char do_thousands_sep() const override { return '.'; }
   std::string do_grouping() const override { return "\3"; }
};

TEST_F(TraceTest, WritesNumbersAlikeWhateverLocaleTheHostHasSet) {
   Vorn::TraceHandle const handle{"TraceTestLocale", true};
   std::locale const before = std::locale::global(std::locale{std::locale::classic(), new Grouping});
   VORN_TRACE(handle, 0) << 1234567;
   std::locale::global(before);
   EXPECT_EQ(lines.at(0), "1234567");
}

TEST_F(TraceTest, EvaluatesNothingWhenDisabled) {
   Vorn::TraceHandle const handle{"TraceTestDisabled", true};
   int evaluated = 0;
   auto const costly = [&] { return ++evaluated; };
   VORN_TRACE(handle, 1) << costly();
   EXPECT_EQ(evaluated, 0);
   VORN_TRACE(handle, 0) << costly();
   EXPECT_EQ(evaluated, 1);
   EXPECT_EQ(lines.size(), 1U);
}

TEST_F(TraceTest, StandsInAnIfWithoutBracesLikeAnyStatement) {
   Vorn::TraceHandle const handle{"TraceTestIf", true};
   for (bool const yes : {true, false}) {
      if (yes)
         VORN_TRACE(handle, 0) << "yes";
      else
         VORN_TRACE(handle, 0) << "no";
   }
   EXPECT_EQ(lines, (std::vector<std::string>{"yes", "no"}));
}

TEST_F(TraceTest, IsSilentWhenItsLevelIsOff) {
   Vorn::TraceHandle const handle{"TraceTestHelper", true};
   Vorn::TraceHelper(handle, 2, "file", 1, "function") << "never";
   EXPECT_TRUE(lines.empty());
   Vorn::TraceHelper(handle, 0, "file", 1, "function") << "now";
   EXPECT_EQ(lines.size(), 1U);
}

TEST_F(TraceTest, LetsTheHostSetTheLevelOfEachFacility) {
   Vorn::TraceHandle const loud{"TraceTestLoud", false};
   Vorn::TraceHandle const quiet{"TraceTestQuiet", true};
   EXPECT_EQ(Vorn::TraceHandle("TraceTestOff", false).level(), -1);
   EXPECT_EQ(Vorn::TraceHandle("TraceTestOn", true).level(), 0);
   Vorn::Host::traceLevelIs("TraceTestLoud", 7);
   Vorn::Host::traceLevelIs("TraceTestQuiet", -1);
   VORN_TRACE(loud, 7) << "loud";
   VORN_TRACE(loud, 8) << "too much";
   VORN_TRACE(quiet, 0) << "quiet";
   EXPECT_EQ(lines, (std::vector<std::string>{"loud"}));
}

TEST_F(TraceTest, AppliesALevelToLaterFacilitiesAndAllHandlesOfItsName) {
   Vorn::Host::traceLevelIs("TraceTestLater", 2);
   Vorn::TraceHandle const first{"TraceTestLater", false};
   Vorn::TraceHandle const second{"TraceTestLater", true};
   EXPECT_EQ(first.level(), 2);
   EXPECT_EQ(second.level(), 2);
   Vorn::Host::traceLevelIs("TraceTestLater", 1);
   EXPECT_FALSE(first.enabled(2));
   EXPECT_TRUE(second.enabled(1));
}

TEST_F(TraceTest, ListsFacilitiesWhileTheyExist) {
   auto const listed = [](char const * name) {
      auto const names = Vorn::Host::traceFacilities();
      EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
      return std::count(names.begin(), names.end(), name);
   };
   {
      Vorn::TraceHandle const first{"TraceTestListed", true};
      Vorn::TraceHandle const second{"TraceTestListed", true};
      EXPECT_EQ(listed("TraceTestListed"), 1);
   }
   EXPECT_EQ(listed("TraceTestListed"), 0);
   EXPECT_EQ(listed("VornPoller"), 1);
}

TEST_F(TraceTest, SurvivesASinkThatRaises) {
   Vorn::TraceHandle const handle{"TraceTestRaise", true};
   Vorn::Host::traceSinkIs([](Vorn::Host::TraceLine const &) { throw std::runtime_error{"disk full"}; });
   EXPECT_NO_THROW(VORN_TRACE(handle, 0) << "lost");
   Vorn::Host::traceSinkIs(nullptr);
   EXPECT_NO_THROW(VORN_TRACE(handle, 0) << "dropped");
}

}  // namespace
