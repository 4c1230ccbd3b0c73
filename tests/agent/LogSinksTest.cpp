#include "agent/LogSinks.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "base/SimulatedUnit.h"
#include "tests/support/DatagramSocket.h"
#include "tests/support/TempDir.h"

namespace Agent {
namespace {

class LogSinksTest : public testing::Test {
 protected:
   LogSinksTest() {
      std::filesystem::create_directories(folder.path() / "dev");
      std::filesystem::create_directories(folder.path() / "run/systemd/journal");
      setenv(Base::simulatedRootVariable, folder.string().c_str(), 1);
   }
   ~LogSinksTest() override {
      unsetenv(Base::simulatedRootVariable);
      unsetenv("JOURNAL_STREAM");
   }
   static void journalStreamIs(int fd) {
      struct stat status {};
      ASSERT_EQ(fstat(fd, &status), 0);
      auto const text = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
      setenv("JOURNAL_STREAM", text.c_str(), 1);
   }

   Support::TempDir folder;
};

TEST_F(LogSinksTest, SendsFieldsToTheJournal) {
   Support::DatagramSocket const journal{folder.string() + "/run/systemd/journal/socket"};
   auto const sinks = logSinksFor(LogDestination::journal);
   EXPECT_STREQ(sinks.sink->name(), "the journal");
   EXPECT_STREQ(sinks.substitute->name(), "standard error");
   EXPECT_EQ(sinks.sink->send(sinks.sink->formOf(noticeEntry(6, "started", 0))), LogSink::Outcome::sent);
   EXPECT_TRUE(journal.next(0).starts_with("MESSAGE=started\nPRIORITY=6\n"));
}

TEST_F(LogSinksTest, SendsDatagramsToSyslog) {
   Support::DatagramSocket const syslog{folder.string() + "/dev/log"};
   auto const sinks = logSinksFor(LogDestination::syslog);
   EXPECT_STREQ(sinks.sink->name(), "syslog");
   EXPECT_STREQ(sinks.substitute->name(), "standard error");
   EXPECT_EQ(sinks.sink->send(sinks.sink->formOf(noticeEntry(6, "started", 0))), LogSink::Outcome::sent);
   EXPECT_TRUE(syslog.next(0).starts_with("<30>"));
}

TEST_F(LogSinksTest, WritesToStandardErrorWithoutASubstitute) {
   auto const sinks = logSinksFor(LogDestination::standardError);
   EXPECT_STREQ(sinks.sink->name(), "standard error");
   EXPECT_EQ(sinks.sink->descriptor(), STDERR_FILENO);
   EXPECT_EQ(sinks.substitute, nullptr);
}

TEST_F(LogSinksTest, ChoosesTheJournalWhereStandardErrorLeadsThere) {
   EXPECT_STREQ(logSinksFor(LogDestination::automatic).sink->name(), "standard error");
   journalStreamIs(STDERR_FILENO);
   EXPECT_TRUE(leadsToJournal(STDERR_FILENO));
   EXPECT_STREQ(logSinksFor(LogDestination::automatic).sink->name(), "the journal");
}

TEST_F(LogSinksTest, ChoosesStandardErrorInATerminalOfASystemdSession) {
   struct stat status {};
   ASSERT_EQ(stat(folder.string().c_str(), &status), 0);
   auto const text = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
   setenv("JOURNAL_STREAM", text.c_str(), 1);
   EXPECT_STREQ(logSinksFor(LogDestination::automatic).sink->name(), "standard error");
   EXPECT_FALSE(leadsToJournal(-1));
}

}  // namespace
}  // namespace Agent
