#include "StorageDevices/CDevsUtil.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <string_view>
#include <thread>

#include "runtime/host/Activity.h"
#include "runtime/host/Loop.h"
#include "tests/support/ProcessState.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"

namespace StorageDevices {

namespace {

using CDevsUtil::bashRegexMatch;

class BashRegexMatchTest : public testing::Test {
 protected:
   // A program of this name comes before the system's.
   void exprIs(std::string_view body) { folder_.writeScript("expr", body); }

   Support::TempDir folder_;
   Support::TraceRecorder traces_{{"StorageCDevsUtil", 7}};
};

TEST_F(BashRegexMatchTest, AnchorsAMatchAtTheStartAndNotAtTheEnd) {
   EXPECT_FALSE(bashRegexMatch("abc", "b"));
   EXPECT_TRUE(bashRegexMatch("abc", "a.*"));
   EXPECT_TRUE(bashRegexMatch("abc", "a"));
   EXPECT_FALSE(bashRegexMatch("abc", "ab$"));
   EXPECT_TRUE(bashRegexMatch("abc", "abc$"));
   EXPECT_TRUE(bashRegexMatch("pci0000:00/0000:00:02.0/ata1/host0", ".*/ata[0-9]*/"));
   EXPECT_TRUE(traces_.lines().empty());
}

TEST_F(BashRegexMatchTest, TreatsAnEmptyMatchAsNone) {
   EXPECT_FALSE(bashRegexMatch("abc", ""));
   EXPECT_FALSE(bashRegexMatch("abc", "x*"));
   EXPECT_FALSE(bashRegexMatch("", ".*"));
   EXPECT_FALSE(bashRegexMatch("", ""));
}

TEST_F(BashRegexMatchTest, ReadsThePatternAsABasicRegularExpression) {
   EXPECT_FALSE(bashRegexMatch("aaa", "a+b"));
   EXPECT_TRUE(bashRegexMatch("a+b", "a+b"));
   EXPECT_TRUE(bashRegexMatch("aab", "a\\{2\\}b"));
   EXPECT_FALSE(bashRegexMatch("ab", "a|b"));
   EXPECT_TRUE(bashRegexMatch("usb1/1-1", "usb[12]/"));
   // The text of a group is the result; an empty one is no match.
   EXPECT_TRUE(bashRegexMatch("abc", "\\(a\\)bc"));
   EXPECT_FALSE(bashRegexMatch("abc", "abc\\(x*\\)"));
}

TEST_F(BashRegexMatchTest, MatchesNothingWithABadPattern) {
   EXPECT_FALSE(bashRegexMatch("abc", "["));
   EXPECT_FALSE(bashRegexMatch("abc", "\\("));
   EXPECT_FALSE(bashRegexMatch("abc", "a\\{2,1\\}"));
   EXPECT_TRUE(traces_.lines().empty());
}

TEST_F(BashRegexMatchTest, TreatsTextsThatLookLikeOperatorsAsPlainTexts) {
   EXPECT_TRUE(bashRegexMatch("1 + 1", "1 + 1"));
   EXPECT_TRUE(bashRegexMatch("a b'c\"d$e", "a b'c"));
   EXPECT_FALSE(bashRegexMatch("$(exit 0)", "x"));
   EXPECT_TRUE(bashRegexMatch(std::string(100000, 'a').c_str(), "a*$"));
}

TEST_F(BashRegexMatchTest, PassesFourArgumentsAndNoInputToTheProgram) {
   exprIs("printf '<%s>' \"$#\" \"$@\" >\"" + folder_.string() +
          "/arguments\"\nif read -r line; then exit 1; fi 2>/dev/null\nexit 0");
   Support::EnvironmentSetting const path{"PATH", folder_.string()};
   EXPECT_TRUE(bashRegexMatch("some string", "a pat*"));
   EXPECT_EQ(folder_.content("arguments"), "<3><match><some string><a pat*>");
}

TEST_F(BashRegexMatchTest, ClosesStandardInputOfTheProgram) {
   exprIs("[ ! -e /proc/$$/fd/0 ]");
   Support::EnvironmentSetting const path{"PATH", folder_.string()};
   EXPECT_TRUE(bashRegexMatch("a", "a"));
}

TEST_F(BashRegexMatchTest, DiscardsTheOutputOfTheProgram) {
   exprIs("echo out\necho err >&2\n[ /proc/self/fd/1 -ef /dev/null ] && [ /proc/self/fd/2 -ef /dev/null ]");
   Support::EnvironmentSetting const path{"PATH", folder_.string()};
   testing::internal::CaptureStdout();
   testing::internal::CaptureStderr();
   EXPECT_TRUE(bashRegexMatch("a", "a"));
   EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
   EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(BashRegexMatchTest, MatchesOnExitCodeZeroAlone) {
   Support::EnvironmentSetting const path{"PATH", folder_.string()};
   for (int const code : {0, 1, 2, 3, 127, 255}) {
      exprIs("exit " + std::to_string(code));
      EXPECT_EQ(bashRegexMatch("a", "a"), code == 0) << code;
   }
   EXPECT_TRUE(traces_.lines().empty());
}

TEST_F(BashRegexMatchTest, TracesAProgramEndedByASignalAndMatchesNothing) {
   Support::EnvironmentSetting const path{"PATH", folder_.string()};
   exprIs("kill -KILL $$");
   EXPECT_FALSE(bashRegexMatch("a", "a"));
   EXPECT_EQ(traces_.errors(), std::vector<std::string>{" expr exited due to signal:9"});
   exprIs("kill -TERM $$");
   EXPECT_FALSE(bashRegexMatch("a", "a"));
   EXPECT_EQ(traces_.errors().back(), " expr exited due to signal:15");
   EXPECT_FALSE(Support::hasChildren());
}

TEST_F(BashRegexMatchTest, ShowsTheDeviceWhileTheProgramRuns) {
   exprIs("until [ -e \"" + folder_.string() + "/seen\" ]; do sleep 0.01; done");
   Support::EnvironmentSetting const path{"PATH", folder_.string() + ":/usr/bin:/bin"};
   Vorn::Host::turn(0);
   std::string shown;
   std::thread watcher{[&] {
      Vorn::Host::Activity seen;
      auto const end = std::chrono::steady_clock::now() + std::chrono::seconds{30};
      do
         seen = Vorn::Host::activity();
      while (!(seen.operation && seen.operation == std::string_view{"classification"}) &&
             std::chrono::steady_clock::now() < end);
      shown = seen.path();
      folder_.write("seen", "");
   }};
   EXPECT_TRUE(bashRegexMatch("pci0000:00/ata1", "pci"));
   watcher.join();
   EXPECT_EQ(shown, "pci0000:00/ata1");
}

TEST_F(BashRegexMatchTest, TracesAMissingProgramAndMatchesNothing) {
   Support::EnvironmentSetting const path{"PATH", folder_.string()};
   auto const before = Support::openDescriptors();
   EXPECT_FALSE(bashRegexMatch("a", "a"));
   ASSERT_EQ(traces_.errors().size(), 1U);
   EXPECT_TRUE(traces_.errors()[0].starts_with(" could not run expr: ")) << traces_.errors()[0];
   EXPECT_EQ(Support::openDescriptors(), before);
}

TEST_F(BashRegexMatchTest, TracesAMissingDevNullAndStillRunsTheProgram) {
   // No script: a shell needs descriptors that the limit does not leave it.
   std::filesystem::create_symlink("/bin/true", folder_.path() / "expr");
   Support::EnvironmentSetting const path{"PATH", folder_.string()};
   bool matches = false;
   {
      Support::DescriptorLimit const limit{0};
      matches = bashRegexMatch("a", "a");
   }
   EXPECT_TRUE(matches);
   EXPECT_EQ(traces_.errors(), std::vector<std::string>{" could not open /dev/null"});
}

TEST_F(BashRegexMatchTest, LeavesNoDescriptorOrChildAfterAThousandCalls) {
   auto const before = Support::openDescriptors();
   for (int i = 0; i < 1000; ++i)
      ASSERT_FALSE(bashRegexMatch("abc", "b"));
   EXPECT_EQ(Support::openDescriptors(), before);
   EXPECT_FALSE(Support::hasChildren());
}

}  // namespace

}  // namespace StorageDevices
