#include "StorageDevices/RegularFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>

#include "tests/support/FileCalls.h"
#include "tests/support/ProcessState.h"
#include "tests/support/TempDir.h"

namespace StorageDevices {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t enough = 100;

class RegularFileTest : public testing::Test {
 protected:
   ~RegularFileTest() override { EXPECT_EQ(Support::openDescriptors(), before_); }

   std::string path(char const * name = "file") const { return (folder_.path() / name).string(); }
   void fifoIs(char const * name = "file") const { ASSERT_EQ(mkfifo(path(name).c_str(), 0600), 0); }
   FileText readFile() const { return readRegularFile(path(), enough); }
   // As far as detection sees it.
   FileText readBelow(std::string const & directory) const {
      return readMountSource(directory, "file", enough);
   }

   std::vector<int> before_ = Support::openDescriptors();
   Support::TempDir folder_;
};

TEST_F(RegularFileTest, IsReadUpToItsEndOrTheBound) {
   folder_.write("file", "one two\n");
   FileText const file = readFile();
   EXPECT_EQ(file.text, "one two\n");
   EXPECT_FALSE(file.failed());
   EXPECT_EQ(file.openError, 0);
   EXPECT_EQ(readRegularFile(path(), 5).text, "one t");
}

TEST_F(RegularFileTest, ReadsTheBeginningOfAFileOfMoreThanFourGigabytes) {
   folder_.write("file", "one two\n");
   fs::resize_file(path(), std::uintmax_t{5} << 30U);  // a hole
   FileText const file = readFile();
   EXPECT_EQ(file.openError, 0);
   EXPECT_FALSE(file.failed());
   EXPECT_EQ(file.text.substr(0, 8), "one two\n");
}

TEST_F(RegularFileTest, FailsToOpenWhereItIsMissing) {
   EXPECT_EQ(readFile().openError, ENOENT);
   EXPECT_FALSE(readFile().failed());
}

TEST_F(RegularFileTest, RefusesAFifoADirectoryAndADevice) {
   fifoIs();
   EXPECT_FALSE(readFile().regular);
   for (char const * const other : {"/dev/zero", "/"}) {
      FileText const file = readRegularFile(other, enough);
      EXPECT_FALSE(file.regular) << other;
      EXPECT_TRUE(file.failed());
      EXPECT_EQ(file.text, "");
   }
}

TEST_F(RegularFileTest, DoesNotOpenAFileThatIsNotRegular) {
   fifoIs();
   int const opened = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
   ASSERT_GE(inotify_add_watch(opened, path().c_str(), IN_OPEN), 0);
   readFile();
   std::array<char, 4096> events{};
   ssize_t const size = read(opened, events.data(), events.size());
   close(opened);
   EXPECT_LT(size, 0);
}

TEST_F(RegularFileTest, DetectsAFifoThatTakesItsPlaceBeforeItIsOpened) {
   folder_.write("file", "text");
   Support::AfterLooking const swap{[&] {
      fs::remove(path());
      fifoIs();
   }};
   FileText const file = readFile();
   EXPECT_FALSE(file.regular);
   EXPECT_TRUE(file.failed());
}

TEST_F(RegularFileTest, KeepsTheWholeWordsBeforeAReadError) {
   folder_.write("file", "one two thr");
   Support::ReadFailure const failure{1};
   FileText const file = readFile();
   EXPECT_EQ(file.text, "one two ");
   EXPECT_EQ(file.readError, EIO);
   EXPECT_TRUE(file.failed());
   EXPECT_TRUE(file.regular);
}

TEST_F(RegularFileTest, FollowsLinksToFilesButNoneInTheDirectorysPlace) {
   folder_.write("elsewhere", "text");
   fs::create_directory(path("directory"));
   fs::create_symlink("../elsewhere", path("directory/file"));
   fs::create_directory_symlink("directory", path("link"));
   fs::create_directory_symlink("nothing", path("dangling"));
   EXPECT_EQ(readBelow(path("directory")).text, "text");
   EXPECT_EQ(readBelow(path("directory/")).text, "text");
   for (char const * const link : {"link", "link/", "link/.", "dangling"})
      EXPECT_EQ(readBelow(path(link)).openError, ELOOP) << link;
   EXPECT_EQ(readBelow(path("elsewhere")).openError, ENOTDIR);
   EXPECT_EQ(readBelow(path("nothing")).openError, ENOENT);
}

TEST_F(RegularFileTest, FollowsLinksAboveTheDirectory) {
   fs::create_directories(path("above/directory"));
   folder_.write("above/directory/file", "text");
   fs::create_directory_symlink("above", path("link"));
   EXPECT_EQ(readBelow(path("link/directory")).text, "text");
}

TEST_F(RegularFileTest, StaysBelowTheDirectoryForANameThatBeginsWithASlash) {
   folder_.write("file", "text");
   EXPECT_EQ(readMountSource(folder_.string(), path(), enough).openError, ENOENT);
   EXPECT_EQ(readMountSource(folder_.string(), "/file", enough).text, "text");
}

}  // namespace

}  // namespace StorageDevices
