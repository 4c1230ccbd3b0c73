#include "agent/MountSources.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "agent/config/ApplianceConfig.h"
#include "base/UniqueFd.h"
#include "runtime/Vorn/Shortage.h"
#include "runtime/host/Loop.h"
#include "runtime/model/MountTable.h"
#include "tests/support/MountNamespace.h"
#include "tests/support/ProcessState.h"
#include "tests/support/TempDir.h"

namespace Agent {
namespace {

namespace fs = std::filesystem;

// A mount table and a sysfs of the test's own.
class MountSourcesTest : public testing::Test {
 protected:
   MountSourcesTest() {
      fs::create_directories(root.path() / "proc/self");
      table("");
      StorageDevices::Mounts::rootIs(root.string());
   }
   ~MountSourcesTest() override { StorageDevices::Mounts::rootIs(""); }

   void table(std::string const & lines) const { root.write("proc/self/mountinfo", lines); }
   // A line of the table; 0:9 is no block device, so that the source is shown as it stands.
   static std::string mount(std::string const & point, std::string const & source,
                            std::string const & number = "0:9") {
      return "36 25 " + number + " / " + point + " rw - ext4 " + source + " rw\n";
   }
   void device(std::string const & name, std::string const & number) const {
      fs::path const at = root.path() / "sys/devices" / name;
      fs::create_directories(at);
      fs::create_directories(root.path() / "sys/dev/block");
      fs::create_directories(root.path() / "sys/class/block");
      std::ofstream{at / "uevent"} << "DEVNAME=" << name << '\n';
      fs::create_directory_symlink(at, root.path() / "sys/dev/block" / number);
      fs::create_directory_symlink(at, root.path() / "sys/class/block" / name);
   }
   std::unique_ptr<MountSources> sources(std::set<std::string> const & names) {
      return std::make_unique<MountSources>(files(), names,
                                            [this](std::string const & text) { notices.push_back(text); });
   }
   fs::path files() const { return folder.path() / "run/mount-source"; }
   std::string file(char const * name) const {
      return fs::is_regular_file(files() / name) ? Support::fileContent(files() / name) : "no file";
   }

   Support::TempDir root;
   Support::TempDir folder;
   std::vector<std::string> notices;
};

TEST_F(MountSourcesTest, WritesAFilePerNameFromTheStartAndNoOthers) {
   table(mount("/mnt/drive", "/dev/sda1") + mount("/mnt/other", "/dev/sdz"));
   auto const kept = sources({"drive", "flash"});
   EXPECT_EQ(file("drive"), "/dev/sda1\n");
   EXPECT_EQ(file("flash"), "");
   EXPECT_EQ(file("other"), "no file");
   EXPECT_EQ(std::distance(fs::directory_iterator{files()}, {}), 2);
   EXPECT_EQ(fs::status(files() / "drive").permissions(), fs::perms{0644});
   EXPECT_TRUE(notices.empty());
}

TEST_F(MountSourcesTest, SaysWhatWouldLetItWatchTheTableWhereDescriptorsAreScarce) {
   Support::DescriptorLimit const none{0};
   auto const kept = sources({});
   ASSERT_FALSE(notices.empty());
   EXPECT_TRUE(notices[0].starts_with("changes of the mount table cannot be watched (" +
                                      Vorn::errorAndRemedy(EMFILE) + "); "))
       << notices[0];
}

TEST_F(MountSourcesTest, FollowsTheMountThatIsSeen) {
   auto const kept = sources({"drive"});
   EXPECT_EQ(file("drive"), "");
   table(mount("/mnt/drive", "/dev/sda1") + mount("/mnt/drive", "/dev/sdb1"));
   kept->write();
   EXPECT_EQ(file("drive"), "/dev/sdb1\n");
   table("");
   kept->write();
   EXPECT_EQ(file("drive"), "");
}

TEST_F(MountSourcesTest, NamesTheDevicesBelowAMapperNode) {
   device("dm-0", "254:0");
   device("sda2", "8:2");
   fs::create_directories(root.path() / "sys/devices/dm-0/slaves/sda2");
   table(mount("/mnt/drive", "/dev/mapper/vault", "254:0"));
   auto const kept = sources({"drive"});
   EXPECT_EQ(file("drive"), "/dev/dm-0\n/dev/sda2\n");
}

TEST_F(MountSourcesTest, WritesASourceAsOneWordOnOneLine) {
   table(mount("/mnt/drive", "server:/a\\040b\\012/dev/sda"));
   auto const kept = sources({"drive"});
   EXPECT_EQ(file("drive"), "server:/a\\040b\\012/dev/sda\n");
}

TEST_F(MountSourcesTest, TreatsAMountWithoutASourceAsAMount) {
   table(mount("/mnt/drive", ""));
   auto const kept = sources({"drive"});
   EXPECT_EQ(file("drive"), "none\n");
}

TEST_F(MountSourcesTest, ReportsANameThatCannotBeAFilesName) {
   auto const kept = sources({"", ".", "..", "a/b", std::string(300, 'x'), std::string{"a\0b", 3}, "drive"});
   EXPECT_EQ(notices.size(), 6U);
   for (std::string const & notice : notices)
      EXPECT_NE(notice.find("\" cannot be the name of a file in " + files().string()), std::string::npos);
   EXPECT_EQ(std::distance(fs::directory_iterator{files()}, {}), 1);
}

TEST_F(MountSourcesTest, RemovesHalfWrittenFilesOfAKilledAgent) {
   fs::create_directories(files());
   std::ofstream{files() / ".new"} << "/dev/sd";
   auto const kept = sources({"drive", ".new"});
   EXPECT_EQ(std::distance(fs::directory_iterator{files()}, fs::directory_iterator{}), 1);
   EXPECT_EQ(file("drive"), "");
   EXPECT_EQ(notices.size(), 1U);  // the name cannot be a file's
}

TEST_F(MountSourcesTest, ReportsAFileThatCannotBeWrittenOnceUntilItWasWritten) {
   auto const kept = sources({"drive", "flash"});
   fs::remove(files() / "drive");
   fs::create_directories(files() / "drive/full");
   table(mount("/mnt/flash", "/dev/sda1"));
   kept->write();
   kept->write();
   ASSERT_EQ(notices.size(), 1U);
   EXPECT_NE(notices[0].find((files() / "drive").string() + ": cannot be written"), std::string::npos);
   EXPECT_EQ(file("flash"), "/dev/sda1\n");
   EXPECT_EQ(std::distance(fs::directory_iterator{files()}, {}), 2);
   fs::remove_all(files() / "drive");
   kept->write();
   EXPECT_EQ(file("drive"), "");
   fs::remove(files() / "drive");
   fs::create_directories(files() / "drive/full");
   kept->write();
   EXPECT_EQ(notices.size(), 2U);
}

TEST_F(MountSourcesTest, LeavesNothingBesideAFileThatCannotBeReplaced) {
   fs::create_directories(files() / "drive/full");
   auto const kept = sources({"drive"});
   EXPECT_EQ(notices.size(), 1U);
   EXPECT_EQ(std::distance(fs::directory_iterator{files()}, {}), 1);
}

TEST_F(MountSourcesTest, KeepsAFileThatCannotBeWrittenWhole) {
   table(mount("/mnt/drive", "/dev/sda1"));
   auto const kept = sources({"drive"});
   table(mount("/mnt/drive", "/dev/sdb1"));
   auto * const before = std::signal(SIGXFSZ, SIG_IGN);
   rlimit limit{};
   getrlimit(RLIMIT_FSIZE, &limit);
   rlimit const noByte{0, limit.rlim_max};
   setrlimit(RLIMIT_FSIZE, &noByte);
   kept->write();
   setrlimit(RLIMIT_FSIZE, &limit);
   std::signal(SIGXFSZ, before);
   EXPECT_EQ(file("drive"), "/dev/sda1\n");
   ASSERT_EQ(notices.size(), 1U);
   EXPECT_NE(notices[0].find("(File too large)"), std::string::npos) << notices[0];
}

TEST_F(MountSourcesTest, LeavesNoDescriptorOpen) {
   auto const kept = sources({"drive"});
   auto const before = Support::openDescriptors();
   kept->write();
   EXPECT_EQ(Support::openDescriptors(), before);
}

TEST_F(MountSourcesTest, ReportsADirectoryThatCannotBeMadeOnce) {
   folder.write("run", "a file is in the way");
   auto const kept = sources({"drive", "flash"});
   kept->write();
   ASSERT_EQ(notices.size(), 1U);
   EXPECT_NE(notices[0].find(files().string() + ": cannot be written"), std::string::npos);
   EXPECT_NE(notices[0].find("appliance.mount_source_dir"), std::string::npos);
}

TEST_F(MountSourcesTest, RefusesADirectoryThatIsALink) {
   fs::path const elsewhere = folder.path() / "elsewhere";
   fs::create_directory(elsewhere);
   fs::create_directories(files().parent_path());
   fs::path const link = files().parent_path() / "link";
   fs::create_directory_symlink(elsewhere, link);
   fs::path const toNothing = files().parent_path() / "toNothing";
   fs::create_directory_symlink(folder.path() / "new", toNothing);
   for (fs::path const & directory : {link, link / "", link / ".", toNothing}) {
      notices.clear();
      MountSources const kept{
          directory, {"drive"}, [this](std::string const & text) { notices.push_back(text); }};
      ASSERT_EQ(notices.size(), 1U) << directory;
      EXPECT_NE(notices[0].find(": cannot be written (it is a symbolic link, which is not followed)"),
                std::string::npos)
          << notices[0];
   }
   EXPECT_TRUE(fs::is_empty(elsewhere));
   EXPECT_FALSE(fs::exists(folder.path() / "new"));
}

TEST_F(MountSourcesTest, TreatsAFileInTheDirectorysPlaceAsAConfigurationError) {
   fs::path const link = folder.path() / "link";
   fs::create_directory_symlink(".", link);
   folder.write("file", "");
   for (fs::path const & directory : {link, link / ""})
      EXPECT_EQ(
          mountSourceError(directory).value_or("none"),
          "appliance.mount_source_dir: " + directory.string() +
              ": it is a symbolic link, which is not followed; name a directory, or a place where there "
              "is nothing yet");
   for (char const * const path : {"file", "file/below"})
      EXPECT_TRUE(mountSourceError(folder.path() / path)
                      ->starts_with("appliance.mount_source_dir: " + (folder.path() / path).string() +
                                    ": Not a directory; "));
   EXPECT_EQ(mountSourceError(folder.path()), std::nullopt);
   EXPECT_EQ(mountSourceError(link / "nothing/yet"), std::nullopt);
}

TEST_F(MountSourcesTest, DoesNotFollowALinkSwappedInForTheDirectory) {
   auto const kept = sources({"drive"});
   fs::path const elsewhere = folder.path() / "elsewhere";
   fs::create_directory(elsewhere);
   fs::remove_all(files());
   fs::create_directory_symlink(elsewhere, files());
   kept->write();
   EXPECT_TRUE(fs::is_empty(elsewhere));
   EXPECT_EQ(notices.size(), 1U);
   fs::remove(files());
   kept->write();
   EXPECT_EQ(file("drive"), "");
}

TEST_F(MountSourcesTest, DoesNotFollowALinkSwappedInWhileTheTableIsRead) {
   auto const kept = sources({"drive"});
   fs::path const elsewhere = folder.path() / "elsewhere";
   fs::create_directory(elsewhere);
   fs::path const table = root.path() / "proc/self/mountinfo";
   fs::remove(table);
   ASSERT_EQ(mkfifo(table.c_str(), 0600), 0);
   std::thread swapping{[&] {
      std::ofstream const opened{table};  // once the directory has been
      fs::rename(files(), folder.path() / "before");
      fs::create_directory_symlink(elsewhere, files());
   }};
   kept->write();
   Base::UniqueFd const reader{
       open(table.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)};  // where nobody read it
   swapping.join();
   EXPECT_TRUE(fs::is_empty(elsewhere));
   EXPECT_TRUE(fs::exists(folder.path() / "before/drive"));
}

// What the process below found: its exit code.
enum Found : int { followed, noOwnTable, stale, restless };

// Whether the loop soon has nothing more to do.
bool comesToRest() {
   for (int turns = 0; turns < 10; ++turns)
      if (Vorn::Host::turn(0) == Vorn::Host::Turn::idle)
         return true;
   return false;
}

int followsMounts(fs::path const & files) {
   StorageDevices::Mounts::rootIs("");
   if (!Support::ownMountTable().empty())
      return noOwnTable;
   MountSources const kept{files, {"drive"}, [](std::string const &) {}};
   auto const shows = [&](std::string const & text) {
      auto const asExpected = [&] { return Support::fileContent(files / "drive") == text; };
      return Vorn::Host::runUntil(asExpected, Vorn::System::currentTime() + 10);
   };
   bool good = shows("");
   {
      Support::MountedFolder const drive{"/dev/sdy1", "/mnt/drive"};
      good = good && drive && shows("/dev/sdy1\n");
   }
   if (!good || !shows(""))
      return stale;
   return comesToRest() ? followed : restless;
}

TEST_F(MountSourcesTest, FollowsTheKernelsMountTable) {
   pid_t const child = fork();
   if (child == 0)
      _exit(followsMounts(files()));
   int status = 0;
   ASSERT_EQ(waitpid(child, &status, 0), child);
   ASSERT_TRUE(WIFEXITED(status));
   if (WEXITSTATUS(status) == noOwnTable)
      GTEST_SKIP() << "needs the privilege to have a mount table of its own";
   EXPECT_EQ(WEXITSTATUS(status), followed);
}

}  // namespace
}  // namespace Agent
