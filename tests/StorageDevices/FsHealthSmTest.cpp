#include "StorageDevices/FsHealthSm.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <set>

#include "tests/StorageDevices/FsHealthSmTest.h"

namespace StorageDevices {

namespace {

using State = FsHealthSmState;

TEST_F(FsHealthSmTest, DoesNothingBeforeItIsStarted) {
   EXPECT_EQ(state(), "idle");
   EXPECT_EQ(nextTest(), -1);
   Vorn::Host::runFor(day);
   EXPECT_EQ(state(), "idle");
   EXPECT_FALSE(std::filesystem::exists(folder_.path() / "debug"));
}

TEST_F(FsHealthSmTest, WritesReadsAndRests) {
   machine_->start();
   EXPECT_EQ(state(), "writeTest");
   EXPECT_EQ(nextTest(), 300);
   EXPECT_EQ(machine_->cookieFilePath(), cookie().string());
   EXPECT_FALSE(std::filesystem::exists(cookie()));
   Vorn::Host::runFor(301);
   EXPECT_EQ(state(), "readTest");
   EXPECT_TRUE(machine_->writeTestOk());
   EXPECT_FALSE(machine_->readTestOk());
   EXPECT_EQ(Support::fileContent(cookie()), machine_->cookieData().str());
   Vorn::Host::runFor(300);
   EXPECT_EQ(state(), "idle");
   EXPECT_TRUE(machine_->readTestOk());
   EXPECT_NEAR(nextTest(), 299, 1.1);
   EXPECT_TRUE(logs_.messages().empty());
   EXPECT_TRUE(traces_.errors().empty());
}

TEST_F(FsHealthSmTest, TestsAgainWithNewTextEveryFifteenMinutes) {
   machine_->start();
   std::set<std::string> texts;
   for (int i = 0; i < 10; ++i) {
      texts.insert(machine_->cookieData().str());
      Vorn::Host::runFor(900);
   }
   EXPECT_EQ(texts.size(), 10U);
   EXPECT_TRUE(logs_.messages().empty());
}

TEST_F(FsHealthSmTest, WaitsForEachOfItsDelaysAsItIsSet) {
   machine_->testDelayIs(100);
   machine_->hungDelayIs(50);
   ops().lseekRetIs(-1);
   ops().lseekErrnoIs(EAGAIN);
   machine_->start();
   EXPECT_EQ(nextTest(), 100) << "to the writing";
   Vorn::Host::runFor(101);
   EXPECT_NEAR(nextTest(), 49, 1) << "for the file to be ready";
   ops().lseekRetIs(0);
   machine_->start();
   Vorn::Host::runFor(101);
   EXPECT_EQ(state(), "readTest");
   EXPECT_NEAR(nextTest(), 99, 1.1) << "to the reading";
   ops().lseekRetIs(-1);
   Vorn::Host::runFor(100);
   EXPECT_NEAR(nextTest(), 49, 1.1);
   machine_->pauseDelayIs(1000);
   Vorn::Host::runFor(50);
   EXPECT_EQ(logged(), Texts{"readTest: fd is hung"});
   EXPECT_NEAR(nextTest(), 999, 1.1) << "after a failure that was logged";
}

TEST_F(FsHealthSmTest, TracesEachStep) {
   machine_->start();
   Vorn::Host::runFor(900);
   Texts expected{"handleSetupState " + cookie().string(), "handleTestClock writeTest",
                  "doWriteTest has writableCount: 1", "handleTestClock readTest",
                  "doReadTest has readable: 1"};
   Texts traced;
   for (std::string const & text : traces_.texts(7))
      if (text.find("Util") == std::string::npos)
         traced.push_back(text);
   traced.resize(expected.size());
   EXPECT_EQ(traced, expected);
}

TEST_F(FsHealthSmTest, StartsEachTestWithoutResultsOfTheLastOne) {
   ops().writeRetIs(-1);
   ops().writeErrnoIs(EIO);
   machine_->start();
   Vorn::Host::runFor(302);
   EXPECT_TRUE(machine_->syslogTriggered());
   ops().writeRetIs(0);
   Vorn::Host::runFor(day);
   EXPECT_FALSE(machine_->syslogTriggered());
   Vorn::Host::runFor(600);
   EXPECT_TRUE(machine_->writeTestOk() && machine_->readTestOk());
   EXPECT_NEAR(nextTest(), 300, 3) << "and does not pause for the failure of the last one";
   Vorn::Host::runFor(300);
   EXPECT_EQ(state(), "writeTest");
   EXPECT_FALSE(machine_->writeTestOk() || machine_->readTestOk());
}

TEST_F(FsHealthSmTest, BypassesThePageCache) {
   for (State::Value const phase : {State::writeTest, State::readTest}) {
      int const fd = holdOpen(phase);
      ASSERT_GE(fd, 0);
      int const access = phase == State::writeTest ? O_WRONLY : O_RDONLY;
      EXPECT_EQ(fcntl(fd, F_GETFL) & (O_ACCMODE | O_DIRECT | O_NONBLOCK), access | O_DIRECT | O_NONBLOCK);
      EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
      machine_->stop();
      ops().lseekRetIs(0);
   }
}

TEST_F(FsHealthSmTest, WritesABlockOfDigitsAndCapitals) {
   machine_->start();
   std::string const & text = machine_->cookieData().str();
   EXPECT_EQ(text.size(), blockSize);
   EXPECT_EQ(text.find_first_not_of("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"), std::string::npos);
   EXPECT_EQ(std::set<char>(text.begin(), text.end()).size(), 36U);
}

TEST_F(FsHealthSmTest, TouchesOnlyItsOwnFile) {
   folder_.write("precious", "data");
   std::filesystem::create_directory(folder_.path() / "debug");
   folder_.write("debug/other", "data");
   folder_.write("debug/healthTestCookie", "stale");
   machine_->start();
   EXPECT_FALSE(std::filesystem::exists(cookie())) << "a stale file goes before the test";
   Vorn::Host::runFor(day + 400);
   Texts files;
   for (auto const & file : std::filesystem::recursive_directory_iterator{folder_.path()})
      files.push_back(file.path().filename());
   std::sort(files.begin(), files.end());
   EXPECT_EQ(files, (Texts{"debug", "healthTestCookie", "other", "precious"}));
   EXPECT_EQ(folder_.content("precious") + folder_.content("debug/other"), "datadata");
}

TEST_F(FsHealthSmTest, ReportsAMissingMountPointOnceAndWaitsForARestart) {
   std::filesystem::remove_all(folder_.path());
   machine_->start();
   EXPECT_EQ(logged(), Texts{"setupTest - exists: not a directory or doesn't exist"});
   EXPECT_EQ(state(), "setup");
   EXPECT_EQ(nextTest(), -1);
   machine_->start();
   Vorn::Host::runFor(10 * day);
   EXPECT_EQ(logged().size(), 1U);
   std::filesystem::create_directory(folder_.path());
   machine_->stop();
   machine_->start();
   EXPECT_EQ(state(), "writeTest");
}

TEST_F(FsHealthSmTest, StopsTheClockWhenTheMountPointIsGoneAtARestart) {
   machine_->start();
   EXPECT_EQ(nextTest(), 300);
   std::filesystem::remove_all(folder_.path());
   machine_->start();
   EXPECT_EQ(state(), "setup");
   EXPECT_EQ(nextTest(), -1);
}

TEST_F(FsHealthSmTest, RefusesAFileAsAMountPoint) {
   std::filesystem::remove_all(folder_.path());
   std::ofstream{folder_.path()} << "file";
   machine_->start();
   EXPECT_EQ(logged(), Texts{"setupTest - exists: not a directory or doesn't exist"});
}

TEST_F(FsHealthSmTest, TracesAFolderInThePlaceOfItsFileAndRetries) {
   std::filesystem::create_directories(cookie() / "x");
   machine_->start();
   EXPECT_EQ(traces_.errors(), Texts{"setupTest - unlink failed with Is a directory"});
   EXPECT_EQ(machine_->nonSyslogErrorCount(), 1U);
   EXPECT_EQ(state(), "idle");
   EXPECT_EQ(nextTest(), 300);
   EXPECT_TRUE(logs_.messages().empty());
}

TEST_F(FsHealthSmTest, LogsAMediumErrorInSetupAndPausesForADay) {
   machine_ = fsHealthSmFactory("/proc/self", blockSize, devices_);  // where no folder can be made
   machine_->start();
   ASSERT_EQ(logged().size(), 1U);
   EXPECT_TRUE(logged()[0].starts_with("setupTest - mkdir: ")) << logged()[0];
   EXPECT_TRUE(machine_->syslogTriggered());
   EXPECT_EQ(state(), "idle");
   EXPECT_EQ(nextTest(), day);
}

TEST_F(FsHealthSmTest, RestrictsItsFolderToItsUserAndGroup) {
   mode_t const before = umask(0);
   machine_->start();
   umask(before);
   struct stat status {};
   ASSERT_EQ(stat((folder_.path() / "debug").c_str(), &status), 0);
   EXPECT_EQ(status.st_mode & 0777U, 0770U);
}

TEST_F(FsHealthSmTest, MakesItsFileReadableForEverybody) {
   mode_t const before = umask(0);
   reach(State::writeTest);
   Vorn::Host::runFor(2);
   umask(before);
   struct stat status {};
   ASSERT_EQ(stat(cookie().c_str(), &status), 0);
   EXPECT_EQ(status.st_mode & 0777U, 0644U);
}

TEST_F(FsHealthSmTest, TracesAFileInThePlaceOfItsFolderAndRetries) {
   folder_.write("debug", "");
   machine_->start();
   EXPECT_EQ(traces_.errors(), Texts{"setupTest - unlink failed with Not a directory"});
   EXPECT_EQ(state(), "idle");
}

TEST_F(FsHealthSmTest, NamesTheDiskInItsMessages) {
   ops().openRetIs(-1);
   ops().openErrnoIs(EIO);
   reach(State::writeTest);
   Vorn::Host::runFor(2);
   ASSERT_EQ(logs_.messages().size(), 1U);
   EXPECT_EQ(logs_.messages()[0].name, "STORAGEDEVICE_MONITOR_ERROR");
   EXPECT_EQ(logs_.messages()[0].arguments, (Texts{"writeTest - open", folder_.string(), "S1", "Kestrel_S2",
                                                   "KF1.2", "Input/output error"}));
   devices_->diskDel("S1");
   Vorn::Host::runFor(day + 301);
   ASSERT_EQ(logs_.messages().size(), 2U);
   EXPECT_EQ(logs_.messages()[1].arguments,
             (Texts{"writeTest - open", "", "", "", "", "Input/output error"}));
}

TEST_F(FsHealthSmTest, IgnoresEventsBeforeItIsInitialised) {
   machine_ = Pelm::make<FsHealthSm>(folder_.string().c_str(), blockSize, devices_);
   machine_->handleTestClock();
   machine_->doWriteTest();
   machine_->doReadTest();
   machine_->doUtilChk();
   EXPECT_EQ(state(), "idle");
   EXPECT_TRUE(traces_.lines().empty());
}

TEST(FsHealthSmStateTest, HasNamesAndValues) {
   EXPECT_EQ(State{State::readTest}.stringValue(), "readTest");
   EXPECT_EQ(State::instance("cleanup")->value(), State::cleanup);
   std::string const name = "setup";
   EXPECT_EQ(State::sequenceToValue(name.data(), name.data() + name.size()), State{State::setup});
   EXPECT_FALSE(State::instance("asleep"));
}

}  // namespace

}  // namespace StorageDevices
