// The main of every test program: no test, and no suite around its tests, takes longer than the usual limit
// of real time without asking for more.
#include <gtest/gtest.h>

#include <optional>

#include "tests/support/RealTimeLimit.h"

namespace {

class TimeLimiter : public testing::EmptyTestEventListener {
 private:
   void OnTestSuiteStart(testing::TestSuite const &) override { restart(); }
   void OnTestStart(testing::TestInfo const &) override { restart(); }
   void OnTestEnd(testing::TestInfo const &) override { restart(); }
   void OnTestSuiteEnd(testing::TestSuite const &) override { limit_.reset(); }

   void restart() {
      limit_.reset();
      limit_.emplace();
   }

   std::optional<Support::RealTimeLimit> limit_;
};

}  // namespace

int main(int argc, char ** argv) {
   testing::InitGoogleTest(&argc, argv);
   testing::UnitTest::GetInstance()->listeners().Append(new TimeLimiter);  // which owns it
   return RUN_ALL_TESTS();
}
