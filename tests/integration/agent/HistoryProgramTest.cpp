// The history that the running program serves.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/integration/agent/HealthTest.h"

namespace {

namespace Simulation = StorageDevices::Simulation;

class HistoryProgramTest : public HealthTest {
 protected:
   static constexpr char const * columns[] = {"time", "temperature", "lifeLeft", "readBytesPerSecond",
                                              "writtenBytesPerSecond"};

   // Rows are 0.7 seconds of the program's time apart at least.
   HistoryProgramTest() { keyIs("history", "hours = 1"); }

   // Status and body of an answer to a question of the history.
   std::string answerTo(std::string const & arguments) const {
      return shell("curl -s -w '%{http_code}' --unix-socket " + socket + " 'http://localhost/api/v1/history" +
                   arguments + "'")
          .text;
   }
   void readHistory(std::string const & arguments) {
      history.Parse(Command::askAgent(socket, "/api/v1/history" + arguments).c_str());
      ASSERT_TRUE(history.IsObject());
      for (char const * column : columns)
         ASSERT_EQ(history[column].Size(), history["time"].Size()) << column;
   }
   bool hasRows(unsigned count, std::string const & arguments = "?disk=SN-A") {
      return waitInRealTime([&] {
         if (!answerTo(arguments).ends_with("200"))
            return false;
         readHistory(arguments);
         return history["time"].Size() >= count;
      });
   }
   // The newest row's figure.
   Json const & newest(char const * column) const { return history[column][history[column].Size() - 1]; }
   bool isRead(char const * column, double value) {
      return waitInRealTime([&] {
         return hasRows(1, "?disk=SN-A&hours=1") && newest(column).IsDouble() &&
                newest(column).GetDouble() == value;
      });
   }

   rapidjson::Document history;
};

TEST_F(HistoryProgramTest, ShowsWhatWasReadOfADrive) {
   start();
   ASSERT_TRUE(isRead("temperature", 34)) << log;
   ASSERT_TRUE(isRead("lifeLeft", 93)) << textOf(history);
   ASSERT_TRUE(hasRows(4));
   EXPECT_TRUE(newest("readBytesPerSecond").IsDouble()) << textOf(history);
   EXPECT_TRUE(newest("writtenBytesPerSecond").IsDouble()) << textOf(history);
   ASSERT_TRUE(readState());
   EXPECT_NEAR(newest("time").GetDouble(), state["time"].GetDouble(), 10);
   for (unsigned i = 1; i < history["time"].Size(); ++i)
      EXPECT_GT(history["time"][i].GetDouble(), history["time"][i - 1].GetDouble());
}

TEST_F(HistoryProgramTest, ShowsAGapWhileADiskIsAway) {
   start();
   ASSERT_TRUE(hasRows(3)) << log;
   unit.unplug("sda");
   ASSERT_TRUE(waitInRealTime([&] { return !has("SN-A"); })) << log;
   readHistory("?disk=SN-A");
   auto const before = history["time"].Size();
   ASSERT_GE(before, 3U);
   ASSERT_TRUE(waitInRealTime(
       [&, since = state["time"].GetDouble()] { return state["time"].GetDouble() > since + 5; }));
   unit.plug(Simulation::sataDisk("sda", 1, "UDEV-SN-A", "Test Disk", 500118192));
   ASSERT_TRUE(hasRows(before + 3)) << log;
   unsigned gaps = 0;
   for (unsigned i = 0; i < history["time"].Size(); ++i)
      gaps += history["temperature"][i].IsNull() && history["writtenBytesPerSecond"][i].IsNull() ? 1 : 0;
   EXPECT_EQ(gaps, 1U) << textOf(history);
}

TEST_F(HistoryProgramTest, AnswersErrorsThatSayWhatToDo) {
   start();
   ASSERT_TRUE(hasRows(1)) << log;
   EXPECT_EQ(answerTo(""), "disk: must name a disk by its serial number, as in ?disk=SERIAL&hours=24\n400");
   EXPECT_EQ(answerTo("?disk=SN-B"),
             "disk: no disk has this serial number; /api/v1/state names all disks\n404");
   for (char const * const hours : {"", "0", "-1", "x", "1.5", "8761", "99999999999999999999", "1h"})
      EXPECT_EQ(answerTo(std::string{"?disk=SN-A&hours="} + hours),
                "hours: must be a whole number of hours, 1 to 8760\n400")
          << hours;
   EXPECT_TRUE(answerTo("?disk=SN-A&hours=8760").ends_with("]}200"));
}

TEST_F(HistoryProgramTest, KnowsADiskByTheNameThatTheStateShows) {
   unit.blockdevIs({{".*/ata[0-9]*/", "drive"}});
   addDrive("sdb", 2, "S\x01\\<&+\xff");
   start();
   std::string const arguments = "?disk=UDEV-S%01%5C%3C%26%2B%5Cxff";
   ASSERT_TRUE(waitInRealTime([&] { return disks().MemberCount() == 2; })) << log;
   EXPECT_TRUE(hasRows(1, arguments)) << answerTo(arguments);
}

TEST_F(HistoryProgramTest, HasEmptyArraysWhereNothingIsKept) {
   polled("");
   keyIs("history", "hours = 0");
   start();
   ASSERT_TRUE(waitInRealTime([&] { return isGood("SN-A", "smartctl"); })) << log;
   EXPECT_EQ(
       answerTo("?disk=SN-A"),
       R"({"time":[],"temperature":[],"lifeLeft":[],"readBytesPerSecond":[],"writtenBytesPerSecond":[]}200)");
}

TEST_F(HistoryProgramTest, ForgetsDisksThatAreGoneAtAReload) {
   start();
   ASSERT_TRUE(hasRows(1)) << log;
   unit.unplug("sda");
   ASSERT_TRUE(waitInRealTime([&] { return !has("SN-A"); })) << log;
   EXPECT_TRUE(answerTo("?disk=SN-A").ends_with("200"));
   signalAgent(SIGHUP);
   ASSERT_TRUE(logs("configuration reloaded")) << log;
   EXPECT_TRUE(answerTo("?disk=SN-A").ends_with("404"));
}

// With the clock of the machine: the program's own begins anew with it.
class HistoryFileProgramTest : public HistoryProgramTest {
 protected:
   HistoryFileProgramTest() {
      config("", "poll_interval = 1\n");
      keyIs("history", "hours = 1");
   }
   void end() {
      ASSERT_TRUE(endsBy(SIGTERM));
      agent.reset();
   }
   std::string file() const { return folder.string() + "/history"; }
   // The times of the rows.
   std::vector<double> times() {
      readHistory("?disk=SN-A");
      std::vector<double> all;
      for (Json const & time : history["time"].GetArray())
         all.push_back(time.GetDouble());
      return all;
   }
};

TEST_F(HistoryFileProgramTest, LosesNothingAtARestart) {
   start();
   ASSERT_TRUE(hasRows(4)) << log;
   auto const before = times();
   ASSERT_NO_FATAL_FAILURE(end());
   start();
   ASSERT_TRUE(hasRows(static_cast<unsigned>(before.size()) + 2)) << log;
   auto const after = times();
   for (std::size_t i = 0; i < before.size(); ++i)
      EXPECT_NEAR(after[i], before[i], 0.02) << i;
   EXPECT_EQ(log.find("history"), std::string::npos) << log;
}

TEST_F(HistoryFileProgramTest, BeginsAnewWithOneLineAfterADamagedFile) {
   start();
   ASSERT_TRUE(hasRows(2)) << log;
   ASSERT_NO_FATAL_FAILURE(end());
   std::filesystem::resize_file(file(), std::filesystem::file_size(file()) - 1);
   start();
   ASSERT_TRUE(logs(file() + ": is damaged or not whole; the history begins anew")) << log;
   ASSERT_TRUE(hasRows(1)) << log;
}

TEST_F(HistoryFileProgramTest, LeavesAnotherProgramsFileAsItIs) {
   folder.write("history", "not ours\n");
   start();
   ASSERT_TRUE(logs(file() + ": is no history of this program")) << log;
   ASSERT_TRUE(hasRows(1)) << log;
   ASSERT_NO_FATAL_FAILURE(end());
   EXPECT_EQ(folder.content("history"), "not ours\n");
}

}  // namespace
