// The running program while the kernel writes more than it can read: it continues to answer, and reads every
// line that its socket has accepted.

#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <string_view>

#include "tests/integration/agent/AgentProgramTest.h"
#include "tests/integration/agent/Burst.h"

namespace {

using Clock = std::chrono::steady_clock;

#ifdef STORAGEDEVICES_SANITIZED
constexpr unsigned fewestLines = 10000;
#else
constexpr unsigned fewestLines = 100000;
#endif
constexpr unsigned fewestAnswers = 20;
constexpr int outputSize = 1 << 20;  // what may be traced of them between two questions
// An answer takes three turns at most: to accept, to read and to write. The kernel's lines delay each by half
// a second.
constexpr std::chrono::milliseconds longestWait{2000};

class KernelBurstTest : public AgentProgramTest {
 protected:
   KernelBurstTest() {
      addDrive("sdb", 2, "SN-B");
      config("[trace]\nStorageDevicesErrWatchSm = 2\n");
   }

   bool isRecorded(char const * serial) const {
      return state["storageDevicesInfo"]["fsList"].HasMember(serial);
   }

   // Asks one after the other until enough was answered and said; the longest wait for an answer.
   Clock::duration slowestAnswer(Burst const & burst) {
      Clock::duration slowest{};
      for (unsigned answers = 0; burst.isGoing() && (answers < fewestAnswers || burst.lines() < fewestLines);
           ++answers) {
         keepLog();
         auto const asked = Clock::now();
         Command::askAgent(socket, answers % 2 == 0 ? "/api/v1/state" : "/healthz");
         slowest = std::max(slowest, Clock::now() - asked);
      }
      return slowest;
   }

   void keepLog() {
      for (std::string const & line : agent->lines())
         log += line + "\n";
   }
   std::size_t logged(std::string_view text) {
      keepLog();
      std::size_t count = 0;
      for (std::size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + text.size()))
         ++count;
      return count;
   }
};

TEST_F(KernelBurstTest, ReadsABurstToItsLastLineAndAnswersMeanwhile) {
   start();
   ASSERT_TRUE(waitInRealTime([&] { return isRecorded("SN-A") && isRecorded("SN-B"); })) << log;
   ASSERT_GE(fcntl(agent->outputDescriptor(), F_SETPIPE_SZ, outputSize), outputSize);
   Burst burst{kernelSocket, "kernel: [   12.500000] ata1: hard resetting link"};
   Burst other{kernelSocket, "kernel: [   12.500000] ata9: hard resetting link"};
   burst.start();
   other.start();
   Clock::duration const slowest = slowestAnswer(burst);
   burst.end();
   other.end();
   ASSERT_TRUE(burst.isGoing() && other.isGoing())
       << "after " << burst.lines() + other.lines() << " lines one was not accepted";
   EXPECT_LT(slowest, longestWait);

   ASSERT_TRUE(burst.say("kernel: [   12.500000] ata2: hard resetting link"));
   std::string const error = " error STORAGEDEVICE_IO_ERROR: ";
   EXPECT_TRUE(waitInRealTime([&] { return logged(error + "/dev/sdb ") == 1; })) << log;
   EXPECT_EQ(logged(error + "/dev/sda "), 1U);
   EXPECT_EQ(logged("Syslog for /dev/sda sent"), burst.errors() - 1) << "of " << burst.lines() << " lines";
}

}  // namespace
