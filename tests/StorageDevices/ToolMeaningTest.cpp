#include "StorageDevices/ToolMeaning.h"

#include <gtest/gtest.h>

#include <csignal>

namespace StorageDevices {
namespace {

TEST(ToolMeaningTest, DescribesEveryBitOfSmartctl) {
   EXPECT_EQ(runMeaning("smartctl", 1, false), "command line not understood");
   EXPECT_EQ(runMeaning("smartctl", 2, false),
             "the device could not be opened or identified, or is in a low-power mode");
   EXPECT_EQ(runMeaning("smartctl", 4, false), "a command to the disk failed or a checksum was wrong");
   EXPECT_EQ(runMeaning("smartctl", 8, false), "SMART reports that the disk is failing");
   EXPECT_EQ(runMeaning("smartctl", 16, false), "prefail attributes at or below their threshold");
   EXPECT_EQ(runMeaning("smartctl", 32, false), "attributes were at or below their threshold in the past");
   EXPECT_EQ(runMeaning("smartctl", 64, false), "the error log has errors");
   EXPECT_EQ(runMeaning("smartctl", 128, false), "the self-test log has errors");
}

TEST(ToolMeaningTest, DescribesSeveralBitsInOrder) {
   EXPECT_EQ(runMeaning("smartctl", 0x48, false),
             "SMART reports that the disk is failing; the error log has errors");
   EXPECT_EQ(runMeaning("smartctl", 6, false),
             "the device could not be opened or identified, or is in a low-power mode; a command to the disk "
             "failed or a "
             "checksum was wrong");
   EXPECT_TRUE(runMeaning("smartctl", 255, false).ends_with("; the self-test log has errors"));
}

TEST(ToolMeaningTest, HasNoBitsForOtherTools) {
   EXPECT_EQ(runMeaning("nvme", 4, false), "exit code 4");
   EXPECT_EQ(runMeaning("hdparm", 255, false), "exit code 255");
   EXPECT_EQ(runMeaning("", 1, false), "exit code 1");
}

TEST(ToolMeaningTest, DescribesGoodEndsSignalsLateEndsAndFailedStarts) {
   for (char const * program : {"smartctl", "nvme", "hdparm"}) {
      EXPECT_EQ(runMeaning(program, 0, false), "ok");
      EXPECT_EQ(runMeaning(program, -SIGSEGV, false), "ended by signal SIGSEGV");
      EXPECT_EQ(runMeaning(program, -SIGKILL, false), "ended by signal SIGKILL");
      EXPECT_EQ(runMeaning(program, -100000, false), "ended by signal 100000");
      EXPECT_EQ(runMeaning(program, 127, false), "not found or not executable");
      EXPECT_EQ(runMeaning(program, -SIGTERM, true), "exceeded its time limit");
   }
}

TEST(ToolMeaningTest, ReadsNoBitsFromANumberThatIsNoExitCode) {
   EXPECT_EQ(runMeaning("smartctl", 256, false), "exit code 256");
}

TEST(ToolMeaningTest, DescribesWhyARunCouldNotStart) {
   Brul::FinishedRun run;
   run.argv = {"smartctl"};
   run.exitCode = 127;
   run.reason = "Permission denied";
   EXPECT_EQ(runMeaning(run), "could not be started: Permission denied");
   run.reason = "";
   EXPECT_EQ(runMeaning(run), "not found or not executable");
}

TEST(ToolMeaningTest, DescribesARunThatItsOutputEnded) {
   Brul::FinishedRun run;
   run.argv = {"smartctl"};
   run.exitCode = -SIGKILL;
   run.reason = "its output exceeded 4 MiB";
   EXPECT_EQ(runMeaning(run), "ended: its output exceeded 4 MiB");
   run.reason = "";
   EXPECT_EQ(runMeaning(run), "ended by signal SIGKILL");
   run.reason = "its time limit passed";
   run.timedOut = true;
   EXPECT_EQ(runMeaning(run), "exceeded its time limit");
}

}  // namespace
}  // namespace StorageDevices
