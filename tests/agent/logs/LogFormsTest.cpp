#include "agent/logs/LogForms.h"

#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "agent/logs/MessageIds.h"

namespace Agent {
namespace {

constexpr Vorn::Seconds moment = 1700000000.25;  // 2023-11-14T22:13:20.250Z

class LogFormsTest : public testing::Test {
 protected:
   LogFormsTest() {
      setenv("TZ", "UTC-3", 1);
      tzset();
   }
   ~LogFormsTest() override {
      unsetenv("TZ");
      tzset();
   }

   LogEntry message(std::string const & text) {
      return {LogEntry::Kind::message, LOG_ERR, moment, "STORAGEDEVICE_OFFLINE", printable(text), arguments};
   }
   static LogEntry trace(std::string const & text) {
      return entryOf(Vorn::Host::TraceLine{"Lamp", 2, "Lamp.cpp", 7, "glow", text}, moment);
   }
   static LogEntry notice() { return noticeEntry(LOG_INFO, "started\nwell", moment); }

   std::vector<Pelm::String> arguments{"SN-1"};
   std::string const pid = std::to_string(getpid());
};

TEST_F(LogFormsTest, WritesALineWithTimeSeverityAndNameForStandardError) {
   EXPECT_EQ(stderrLine(message("disk gone")),
             "2023-11-14T22:13:20.250Z error STORAGEDEVICE_OFFLINE: disk gone\n");
   EXPECT_EQ(stderrLine(notice()), "2023-11-14T22:13:20.250Z info storagedevices: started\\nwell\n");
   EXPECT_EQ(stderrLine(trace(" warm")), "2023-11-14T22:13:20.250Z trace Lamp/2 glow: warm\n");
}

TEST_F(LogFormsTest, WritesADatagramOfTheFacilityDaemonInLocalTimeForSyslog) {
   EXPECT_EQ(syslogDatagram(message("disk gone")),
             "<27>Nov 15 01:13:20 storagedevices[" + pid + "]: STORAGEDEVICE_OFFLINE: disk gone");
   EXPECT_EQ(syslogDatagram(notice()), "<30>Nov 15 01:13:20 storagedevices[" + pid + "]: started\\nwell");
   EXPECT_EQ(syslogDatagram(trace(" warm")),
             "<31>Nov 15 01:13:20 storagedevices[" + pid + "]: trace Lamp/2 glow: warm");
}

TEST_F(LogFormsTest, WritesTimesAfterTheYear2038ForSyslog) {
   LogEntry entry = notice();
   entry.utc = 4294967296;  // 2106-02-07T06:28:16Z
   EXPECT_EQ(syslogDatagram(entry), "<30>Feb  7 09:28:16 storagedevices[" + pid + "]: started\\nwell");
}

TEST_F(LogFormsTest, PadsTheDayOfADatagramForSyslogWithABlank) {
   LogEntry entry = notice();
   entry.utc = 1698876000;  // 2023-11-01T22:00:00Z
   EXPECT_TRUE(syslogDatagram(entry).starts_with("<30>Nov  2 01:00:00 ")) << syslogDatagram(entry);
   entry.utc = 1e300;
   EXPECT_TRUE(syslogDatagram(entry).starts_with("<30>Jan  1 03:00:00 ")) << syslogDatagram(entry);
}

TEST_F(LogFormsTest, WritesEachFieldOfAMessageForTheJournal) {
   arguments = {"SN-1", "b c", ""};
   EXPECT_EQ(journalDatagram(message("disk gone")),
             "MESSAGE=STORAGEDEVICE_OFFLINE: disk gone\n"
             "PRIORITY=3\n"
             "SYSLOG_IDENTIFIER=storagedevices\n"
             "SYSLOG_FACILITY=3\n"
             "MESSAGE_ID=7c47988111a1412bb4e1626a9c906846\n"
             "STORAGEDEVICE_NAME=STORAGEDEVICE_OFFLINE\n"
             "STORAGEDEVICE_TIME=2023-11-14T22:13:20.250Z\n"
             "STORAGEDEVICE_ARG0=SN-1\n"
             "STORAGEDEVICE_ARG1=b c\n"
             "STORAGEDEVICE_ARG2=\n");
}

TEST_F(LogFormsTest, WritesTracesAsDebuggingForTheJournal) {
   EXPECT_EQ(
       journalDatagram(trace("warm")),
       "MESSAGE=trace Lamp/2 glow: warm\nPRIORITY=7\nSYSLOG_IDENTIFIER=storagedevices\nSYSLOG_FACILITY=3\n");
   EXPECT_EQ(journalDatagram(notice()),
             "MESSAGE=started\\nwell\nPRIORITY=6\nSYSLOG_IDENTIFIER=storagedevices\nSYSLOG_FACILITY=3\n");
}

TEST_F(LogFormsTest, GivesAMessageOfAnotherLibraryNoIdForTheJournal) {
   LogEntry entry = message("x");
   entry.origin = "LAMP_OUT";
   std::string const fields = journalDatagram(entry);
   EXPECT_EQ(fields.find("MESSAGE_ID="), std::string::npos);
   EXPECT_NE(fields.find("\nSTORAGEDEVICE_NAME=LAMP_OUT\n"), std::string::npos);
}

// A serial number that forges a field would pass for another program's message.
TEST_F(LogFormsTest, KeepsTextsOfDevicesFromForgingALineOrAField) {
   std::string const forged = "SN\nPRIORITY=0\n\x1b[2J\xff\\xff";
   std::string const shown = "SN\\nPRIORITY=0\\n\\x1b[2J\\xff\\x5cxff";
   arguments = {Pelm::String{forged}};
   LogEntry const entry = message(forged);
   EXPECT_EQ(stderrLine(entry), "2023-11-14T22:13:20.250Z error STORAGEDEVICE_OFFLINE: " + shown + "\n");
   EXPECT_TRUE(syslogDatagram(entry).ends_with("STORAGEDEVICE_OFFLINE: " + shown));
   std::string const fields = journalDatagram(entry);
   EXPECT_NE(fields.find("MESSAGE=STORAGEDEVICE_OFFLINE: " + shown + "\n"), std::string::npos);
   EXPECT_NE(fields.find("STORAGEDEVICE_ARG0=" + shown + "\n"), std::string::npos);
   EXPECT_EQ(std::count(fields.begin(), fields.end(), '\n'), 8);
}

TEST_F(LogFormsTest, BoundsEveryFormAtACharacter) {
   std::string text;
   while (text.size() < 2 * longestLine)
      text += "ü";
   arguments.assign(6, Pelm::String{text});
   LogEntry const entry = message(text);
   for (std::string const & form : {stderrLine(entry), syslogDatagram(entry)}) {
      EXPECT_LE(form.size(), longestLine);
      EXPECT_GE(form.size(), longestLine - 2);
      EXPECT_NE(form.find("ü…"), std::string::npos);
   }
   std::string const fields = journalDatagram(entry);
   EXPECT_NE(fields.find("ü…\nSTORAGEDEVICE_ARG5="), std::string::npos);
   EXPECT_LE(fields.size(), 8 * longestLine);
}

TEST_F(LogFormsTest, ShowsTheBeginningOfALongTrace) {
   LogEntry const entry = trace(std::string(4 << 20U, 'x'));
   EXPECT_EQ(entry.text.size(), longestLine);
   EXPECT_TRUE(stderrLine(entry).ends_with("xx…\n"));
}

}  // namespace
}  // namespace Agent
