// The main of every test program: no test, and no suite around its tests, takes longer than the usual limit
// of real time without asking for more. STORAGEDEVICES_TEST_SLOWNESS multiplies that limit, for machines that
// are emulated.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
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
      limit_.emplace(std::chrono::seconds{60} * slowness_);
   }

   static int slowness() {
      char const * const times = std::getenv("STORAGEDEVICES_TEST_SLOWNESS");
      return times ? std::max(std::atoi(times), 1) : 1;
   }

   int const slowness_ = slowness();  // read before a test may change the environment
   std::optional<Support::RealTimeLimit> limit_;
};

}  // namespace

int main(int argc, char ** argv) {
   testing::InitGoogleTest(&argc, argv);
   testing::UnitTest::GetInstance()->listeners().Append(new TimeLimiter);  // which owns it
   return RUN_ALL_TESTS();
}
