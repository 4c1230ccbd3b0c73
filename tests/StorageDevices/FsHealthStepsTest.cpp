// The steps of a health test, and their errors.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <ostream>
#include <set>

#include "tests/StorageDevices/FsHealthSmTest.h"

namespace StorageDevices {

namespace {

using State = FsHealthSmState;

// A step of the test that fails, in which phase, and what it is called.
struct Step {
   char const * name;
   State::Value phase;
   void (FsHealthIoOps::*result)(std::int32_t);
   void (FsHealthIoOps::*error)(std::int32_t);

   // As a failure names it.
   friend void PrintTo(Step const & step, std::ostream * out) { *out << step.name; }
};

class FsHealthStepsTest : public FsHealthSmTest, public testing::WithParamInterface<Step> {
 protected:
   // The step fails with that error while its phase runs.
   void failWith(int error) {
      reach(GetParam().phase);
      (ops().*GetParam().result)(-1);
      (ops().*GetParam().error)(error);
      Vorn::Host::runFor(2);
   }
   void heal() {
      (ops().*GetParam().result)(0);
      (ops().*GetParam().error)(0);
   }
};

TEST_P(FsHealthStepsTest, LogsAMediumErrorAndPausesForADay) {
   for (int const error : {EPERM, ENOENT, EIO, EACCES, EBUSY, ENOSPC, EDQUOT}) {
      logs_.clear();
      failWith(error);
      EXPECT_EQ(logged(), Texts{std::string{GetParam().name} + ": " + std::strerror(error)});
      EXPECT_TRUE(machine_->syslogTriggered());
      EXPECT_EQ(state(), "idle");
      EXPECT_NEAR(nextTest(), day, 3);
      heal();
      machine_->stop();
   }
   EXPECT_EQ(machine_->nonSyslogErrorCount() + machine_->eagainErrorCount(), 0U);
}

TEST_P(FsHealthStepsTest, TracesAnotherErrorAndTestsAgainSoon) {
   for (int const error : {EINVAL, EINTR, ENODEV, 0}) {
      traces_.clear();
      failWith(error);
      EXPECT_EQ(traces_.errors()[0], std::string{GetParam().name} + " failed with " + std::strerror(error));
      EXPECT_EQ(state(), "idle");
      EXPECT_NEAR(nextTest(), 300, 3);
      heal();
      machine_->stop();
   }
   EXPECT_TRUE(logs_.messages().empty());
   EXPECT_EQ(machine_->nonSyslogErrorCount(), 4U);
}

TEST_P(FsHealthStepsTest, CountsAnAgainOnceAndLeavesTheRestToTheHungTimer) {
   failWith(EAGAIN);
   EXPECT_EQ(state(), GetParam().phase == State::writeTest ? "writeTest" : "readTest");
   EXPECT_EQ(machine_->eagainErrorCount(), 1U);
   EXPECT_TRUE(logs_.messages().empty());
   EXPECT_NEAR(nextTest(), 300, 3);
   Vorn::Host::runFor(200);
   EXPECT_EQ(machine_->eagainErrorCount(), 1U) << "it neither spins nor counts twice";
   std::string const name = GetParam().name;
   bool const opening = name.ends_with("open");
   heal();
   Vorn::Host::runFor(110);
   // A file that could not be opened is tried again.
   EXPECT_EQ(logged(), opening ? Texts{} : Texts{name.substr(0, name.find(' ')) + ": fd is hung"});
   if (!opening) {
      EXPECT_EQ(state(), "idle");
      EXPECT_TRUE(machine_->syslogTriggered());
      EXPECT_NEAR(nextTest(), day, 15);
   }
}

TEST_P(FsHealthStepsTest, LeavesNoDescriptorAfterAFailure) {
   auto const before = Support::openDescriptors();
   bool const closing = std::string{GetParam().name}.ends_with("close");
   for (int const error : {EIO, EINVAL, EAGAIN}) {
      failWith(error);
      heal();
      machine_->stop();
   }
   EXPECT_EQ(Support::openDescriptors().size(), before.size() + (closing ? 2 : 0))
       << "a close that is made to fail does not close";
}

TEST_P(FsHealthStepsTest, AllowsTheHostToReleaseTheMachineAtAFailure) {
   Vorn::Host::logSinkIs([this](Vorn::Host::LogMessage const &) { machine_ = nullptr; });
   failWith(EIO);
   EXPECT_FALSE(machine_);
   Vorn::Host::runFor(day);
}

INSTANTIATE_TEST_SUITE_P(
    All, FsHealthStepsTest,
    testing::Values(
        Step{"writeTest - open", State::writeTest, &FsHealthIoOps::openRetIs, &FsHealthIoOps::openErrnoIs},
        Step{"writeTest - lseek", State::writeTest, &FsHealthIoOps::lseekRetIs, &FsHealthIoOps::lseekErrnoIs},
        Step{"writeTest - write", State::writeTest, &FsHealthIoOps::writeRetIs, &FsHealthIoOps::writeErrnoIs},
        Step{"writeTest - fsync", State::writeTest, &FsHealthIoOps::fsyncRetIs, &FsHealthIoOps::fsyncErrnoIs},
        Step{"writeTest - close", State::writeTest, &FsHealthIoOps::closeRetIs, &FsHealthIoOps::closeErrnoIs},
        Step{"readTest - open", State::readTest, &FsHealthIoOps::openRetIs, &FsHealthIoOps::openErrnoIs},
        Step{"readTest - lseek", State::readTest, &FsHealthIoOps::lseekRetIs, &FsHealthIoOps::lseekErrnoIs},
        Step{"readTest - read", State::readTest, &FsHealthIoOps::readRetIs, &FsHealthIoOps::readErrnoIs},
        Step{"readTest - close", State::readTest, &FsHealthIoOps::closeRetIs, &FsHealthIoOps::closeErrnoIs}));

TEST_F(FsHealthSmTest, LogsAllErrorsOfTheMediumAndNoOthers) {
   std::set<int> loggedErrors;
   machine_->start();
   for (int error = 0; error <= EHWPOISON; ++error) {
      logs_.clear();
      ops().openRetIs(-1);
      ops().openErrnoIs(error);
      Vorn::Host::runFor(301);
      if (!logs_.messages().empty())
         loggedErrors.insert(error);
      machine_->start();
   }
   EXPECT_EQ(loggedErrors, (std::set<int>{EPERM, ENOENT, EIO, EACCES, EBUSY, ENOSPC, EDQUOT}));
}

TEST_F(FsHealthSmTest, FailsWritingAtAnyNegativeSeekAndReadingOnlyAtMinusOne) {
   reach(State::writeTest);
   ops().lseekRetIs(-2);
   ops().lseekErrnoIs(EIO);
   Vorn::Host::runFor(2);
   EXPECT_EQ(logged(), Texts{"writeTest - lseek: Input/output error"});
   machine_->stop();
   ops().lseekRetIs(0);
   reach(State::readTest);
   ops().lseekRetIs(-2);
   Vorn::Host::runFor(2);
   EXPECT_TRUE(machine_->readTestOk());
   EXPECT_EQ(logged().size(), 1U);
}

TEST_F(FsHealthSmTest, TracesAShortWriteAndContinuesThePhase) {
   reach(State::writeTest);
   ops().writeRetIs(100);
   Vorn::Host::runFor(2);
   EXPECT_EQ(traces_.errors(), Texts{"doWriteTest not all data was written"});
   EXPECT_TRUE(machine_->writeTestOk());
   EXPECT_EQ(machine_->nonSyslogErrorCount(), 0U);
}

TEST_F(FsHealthSmTest, LogsReadDataThatDiffersAndNeitherPausesNorStops) {
   reach(State::readTest);
   std::ofstream{cookie()} << std::string(blockSize, 'A');
   Vorn::Host::runFor(2);
   EXPECT_EQ(logged(), Texts{"readTest - read: data doesn't match"});
   EXPECT_TRUE(machine_->readTestOk());
   EXPECT_FALSE(machine_->syslogTriggered());
   EXPECT_NEAR(nextTest(), 300, 3);
}

TEST_F(FsHealthSmTest, ComparesEveryByteThatWasWritten) {
   reach(State::readTest);
   std::fstream{cookie()}.seekp(blockSize - 1).put('*');
   Vorn::Host::runFor(2);
   EXPECT_EQ(logged(), Texts{"readTest - read: data doesn't match"});
}

TEST_F(FsHealthSmTest, DoesNotTakeAnEmptyReadForTheWrittenData) {
   reach(State::readTest);
   ops().readRetIs(static_cast<std::int32_t>(blockSize));
   Vorn::Host::runFor(2);
   EXPECT_EQ(logged(), Texts{"readTest - read: data doesn't match"});
}

}  // namespace

}  // namespace StorageDevices
