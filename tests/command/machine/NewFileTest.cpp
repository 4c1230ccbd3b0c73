#include "command/machine/NewFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <system_error>

#include "tests/support/TempDir.h"

namespace Command {
namespace {

namespace fs = std::filesystem;

class NewFileTest : public testing::Test {
 protected:
   std::size_t entries() const {
      return static_cast<std::size_t>(
          std::distance(fs::directory_iterator{folder.path()}, fs::directory_iterator{}));
   }

   Support::TempDir folder;
};

TEST_F(NewFileTest, MakesItsFolderAndTheFileForEverybodyToRead) {
   mode_t const before = umask(077);
   EXPECT_TRUE(writeNewFile(folder.path() / "a/b/file", "text\n"));
   umask(before);
   EXPECT_EQ(folder.content("a/b/file"), "text\n");
   struct stat status {};
   ASSERT_EQ(stat((folder.path() / "a/b/file").c_str(), &status), 0);
   EXPECT_EQ(status.st_mode & 07777U, 0644U);
   EXPECT_EQ(entries(), 1U);
}

TEST_F(NewFileTest, ReplacesNothing) {
   folder.write("file", "before");
   fs::create_symlink("nowhere", folder.path() / "link");
   fs::create_directory(folder.path() / "folder");
   for (char const * name : {"file", "link", "folder"})
      EXPECT_FALSE(writeNewFile(folder.path() / name, "text")) << name;
   EXPECT_EQ(folder.content("file"), "before");
   EXPECT_FALSE(fs::exists(folder.path() / "nowhere"));
   EXPECT_EQ(entries(), 3U);
}

TEST_F(NewFileTest, NamesThePathThatCannotBeWritten) {
   folder.write("file", "");
   for (std::string const path : {"/proc/storagedevices/x", "/proc/storagedevices"})
      try {
         writeNewFile(path, "text");
         ADD_FAILURE() << path;
      } catch (std::system_error const & error) {
         EXPECT_TRUE(std::string{error.what()}.starts_with("/proc/storagedevices: cannot be "))
             << error.what();
      }
   EXPECT_THROW(writeNewFile(folder.path() / "file/x", "text"), std::system_error);
}

}  // namespace
}  // namespace Command
