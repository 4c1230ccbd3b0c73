#include "agent/history/HistoryFile.h"

#include <sys/stat.h>
#include <syslog.h>

#include <filesystem>
#include <memory>
#include <string>

#include "tests/support/TempDir.h"
#include "tests/support/UnitOfRecords.h"

namespace Agent {
namespace {

constexpr double tenMinutes = 600;

class HistoryFileTest : public Support::UnitOfRecords {
 protected:
   // An agent that begins.
   void starts(Vorn::Seconds span = 86400) {
      file.reset();
      history = std::make_unique<History>(entities, span);
      file = std::make_unique<HistoryFile>(
          path, *history, [] { return Vorn::System::currentTimeUtc() - Vorn::System::currentTime(); },
          [this](int severity, std::string const & text) {
             notices += std::to_string(severity) + " " + text + "\n";
          });
   }
   void rowsAre(int count) {
      DiskHistory & disk = history->diskIs(serial);
      for (int ago = count - 1; ago >= 0; --ago)
         disk.add({Vorn::System::currentTime() - ago * 60, static_cast<float>(ago)}, 60);
   }
   std::size_t rows() const {
      DiskHistory const * const disk = history->disk(serial);
      return disk ? disk->fine().size() : 0;
   }
   std::string content() const { return Support::fileContent(path); }

   Support::TempDir folder;
   std::string path = folder.string() + "/sub/history";
   std::string notices;
   std::unique_ptr<History> history;
   std::unique_ptr<HistoryFile> file;
};

TEST_F(HistoryFileTest, KeepsTheHistoryOverARestart) {
   starts();
   rowsAre(100);
   HistoryRow const newest = history->disk(serial)->fine().back();
   file->write();
   starts();
   ASSERT_EQ(rows(), 100U);
   EXPECT_EQ(history->disk(serial)->fine().back().time, newest.time);
   EXPECT_EQ(history->disk(serial)->fine().front().temperature, 99);
   EXPECT_EQ(notices, "");
}

TEST_F(HistoryFileTest, WritesEveryTenMinutes) {
   starts();
   rowsAre(100);
   Vorn::Host::runFor(tenMinutes - 1);
   EXPECT_FALSE(std::filesystem::exists(path));
   Vorn::Host::runFor(2);
   std::string const first = content();
   EXPECT_GT(first.size(), 2400U);
   rowsAre(200);
   Vorn::Host::runFor(tenMinutes);
   EXPECT_GT(content().size(), first.size());
   EXPECT_FALSE(std::filesystem::exists(path + ".new"));
   struct stat status {};
   ASSERT_EQ(stat(path.c_str(), &status), 0);
   EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(HistoryFileTest, WritesAtTheEndWhileAWritingIsUnderWay) {
   starts();
   rowsAre(10);
   time->jumpBy(tenMinutes);
   Vorn::Host::turn(0);
   Vorn::Host::turn(0);
   ASSERT_TRUE(std::filesystem::exists(path + ".new"));
   rowsAre(20);
   file->write();
   EXPECT_FALSE(std::filesystem::exists(path + ".new"));
   starts();
   EXPECT_EQ(rows(), 20U);
}

TEST_F(HistoryFileTest, FollowsTheWallClockOverARestart) {
   starts();
   rowsAre(100);
   file->write();
   time->jumpBy(3600);
   starts();
   ASSERT_EQ(rows(), 100U);
   EXPECT_EQ(history->disk(serial)->fine().back().time, Vorn::System::currentTime() - 3600);
   time->jumpBy(86400 - 3600 - 30 * 60);
   starts();
   EXPECT_EQ(rows(), 31U) << "those of the last day";
   EXPECT_EQ(notices, "");
}

TEST_F(HistoryFileTest, LeavesOutWhatIsLaterThanNow) {
   starts();
   rowsAre(100);
   file->write();
   wallClockJumpsBy(-600.5);
   starts();
   EXPECT_EQ(rows(), 89U);
   EXPECT_EQ(
       notices,
       "4 " + path + ": 11 readings are later than now and are left out, since the clock was set back\n");
}

TEST_F(HistoryFileTest, BeginsAnewWhereTheFileIsDamaged) {
   starts();
   rowsAre(100);
   file->write();
   std::filesystem::resize_file(path, 1000);
   starts();
   EXPECT_EQ(rows(), 0U);
   EXPECT_EQ(notices, "4 " + path + ": is damaged or not whole; the history begins anew\n");
   rowsAre(50);
   file->write();
   starts();
   EXPECT_EQ(rows(), 50U);
}

TEST_F(HistoryFileTest, BeginsAnewWhereALaterVersionWrote) {
   folder.write("later", "storagedevices history 2\n");
   path = folder.string() + "/later";
   starts();
   EXPECT_EQ(notices, "4 " + path + ": was written by a later version; the history begins anew\n");
}

TEST_F(HistoryFileTest, NeverReplacesAnotherProgramsFile) {
   folder.write("passwd", "root:x:0:0\n");
   path = folder.string() + "/passwd";
   starts();
   EXPECT_EQ(notices, "3 " + path +
                          ": is no history of this program, so it is left as it is, and the history does not "
                          "survive a restart; remove it, or set history.file elsewhere\n");
   rowsAre(10);
   file->write();
   Vorn::Host::runFor(tenMinutes + 1);
   EXPECT_EQ(content(), "root:x:0:0\n");
   EXPECT_FALSE(std::filesystem::exists(path + ".new"));
}

TEST_F(HistoryFileTest, NeverReplacesWhatIsNoFile) {
   path = folder.string() + "/pipe";
   ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
   starts();
   EXPECT_TRUE(notices.starts_with("3 " + path + ": is no history of this program")) << notices;
   file->write();
   EXPECT_TRUE(std::filesystem::is_fifo(path));
}

TEST_F(HistoryFileTest, ReportsOnceThatItCannotBeWritten) {
   folder.write("sub", "in the way");
   starts();
   notices.clear();
   for (int i = 0; i < 3; ++i)
      file->write();
   EXPECT_EQ(notices, "4 " + path +
                          ": cannot be written (Not a directory), so the history does not survive a restart; "
                          "allow it, or set history.file elsewhere (\"\" keeps none)\n");
   std::filesystem::remove(folder.path() / "sub");
   file->write();
   EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(HistoryFileTest, ReplacesWhatAKilledAgentLeftHalfWritten) {
   std::filesystem::create_directories(folder.path() / "sub");
   std::filesystem::create_symlink(folder.path() / "elsewhere", path + ".new");
   starts();
   file->write();
   EXPECT_TRUE(std::filesystem::is_regular_file(path));
   EXPECT_FALSE(std::filesystem::exists(folder.path() / "elsewhere"));
   EXPECT_EQ(notices, "");
}

TEST_F(HistoryFileTest, KeepsNoFileWhereNoneIsWanted) {
   std::string const place = path;
   path = "";
   starts();
   rowsAre(10);
   file->write();
   path = place;
   starts(0);
   file->write();
   EXPECT_FALSE(std::filesystem::exists(folder.path() / "sub"));
   EXPECT_EQ(notices, "");
}

TEST_F(HistoryFileTest, ContinuesADayAsAPartOfALongerHistory) {
   starts();
   rowsAre(100);
   file->write();
   starts(864000);
   ASSERT_TRUE(history->disk(serial)->coarse());
   EXPECT_GT(history->disk(serial)->coarse()->size(), 20U);
   EXPECT_EQ(rows(), 100U);
   file->write();
   starts();
   EXPECT_EQ(rows(), 100U);
   EXPECT_FALSE(history->disk(serial)->coarse());
}

}  // namespace
}  // namespace Agent
