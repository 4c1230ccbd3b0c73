#include "StorageDevices/DiscoveryPreview.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>

#include "runtime/Vorn/Shortage.h"
#include "tests/support/FileCalls.h"
#include "tests/support/ProcessState.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;

class ApplianceErrorsTest : public testing::Test {
 protected:
   Texts errors() const {
      Texts texts = applianceErrors(Pelm::String{folder_.string()});
      for (std::string & text : texts)
         text.erase(0, folder_.string().size());
      return texts;
   }

   Support::TempDir folder_;
};

TEST_F(ApplianceErrorsTest, FindsNoErrorInGoodOrMissingFiles) {
   EXPECT_EQ(errors(), Texts{});
   folder_.write("blockdev", "pci.*/ata1/.* drive\nplatform/.* flash\n");
   folder_.write("multidrive", "pci.*/ata2/.*");
   folder_.write("multidrive_src", "pci.*/ata2/.*");
   EXPECT_EQ(errors(), Texts{});
}

TEST_F(ApplianceErrorsTest, ReportsAPatternWithoutAMount) {
   folder_.write("blockdev", "a drive\nb");
   EXPECT_EQ(
       errors(),
       Texts{
           "/blockdev: its last pattern has no mount name: write pairs of a path pattern and a mount name"});
}

TEST_F(ApplianceErrorsTest, ReportsAnOverlongWordInEveryFile) {
   for (char const * const name : {"blockdev", "multidrive", "multidrive_src"})
      folder_.write(name, std::string(5000, 'x') + " y");
   std::string const text =
       ": cannot be read to its end: is it a text file of words of at most 4096 characters, not more than "
       "4096 of "
       "them?";
   EXPECT_EQ(errors(), (Texts{"/blockdev" + text, "/multidrive" + text, "/multidrive_src" + text}));
}

TEST_F(ApplianceErrorsTest, NamesPatternsThatExprRefuses) {
   folder_.write("blockdev", R"(pci\(.* drive good flash)");
   folder_.write("multidrive", R"(good x\{2)");
   folder_.write("multidrive_src", R"([a)");
   EXPECT_EQ(errors(),
             (Texts{R"(/blockdev:1: the pattern pci\(.* is no basic regular expression: correct it)",
                    R"(/multidrive:1: the pattern x\{2 is no basic regular expression: correct it)",
                    R"(/multidrive_src:1: the pattern [a is no basic regular expression: correct it)"}));
}

TEST_F(ApplianceErrorsTest, ReportsAFileThatExistsButCannotBeRead) {
   std::filesystem::create_symlink("blockdev", folder_.path() / "blockdev");
   EXPECT_EQ(errors(), Texts{"/blockdev: cannot be read: Too many levels of symbolic links"});
}

TEST_F(ApplianceErrorsTest, ReportsAReadErrorAfterErrorsOfTheWordsBeforeIt) {
   folder_.write("blockdev", "[a drive good fla");
   Support::ReadFailure const failure{1};
   EXPECT_EQ(errors(), (Texts{"/blockdev:1: the pattern [a is no basic regular expression: correct it",
                              "/blockdev: cannot be read to its end: Input/output error"}));
}

TEST_F(ApplianceErrorsTest, NamesTheLineOfABadWord) {
   folder_.write("blockdev", "good drive\n\n[b\n flash\ngood\n..\ngood a/b good .\n");
   folder_.write("multidrive", "good\ngood [c");
   folder_.write("multidrive_src", "\n\n[d");
   std::string const bad = " is no basic regular expression: correct it";
   std::string const noName = " names no folder below /mnt: write one without slashes that is not . or ..";
   EXPECT_EQ(errors(),
             (Texts{"/blockdev:3: the pattern [b" + bad, "/blockdev:6: the mount name .." + noName,
                    "/blockdev:7: the mount name a/b" + noName, "/blockdev:7: the mount name ." + noName,
                    "/multidrive:2: the pattern [c" + bad, "/multidrive_src:3: the pattern [d" + bad}));
}

TEST_F(ApplianceErrorsTest, NamesAFileThatIsNotRegularAndDoesNotReadIt) {
   ASSERT_EQ(mkfifo((folder_.path() / "blockdev").c_str(), 0600), 0);
   std::filesystem::create_directory(folder_.path() / "multidrive");
   std::filesystem::create_symlink("/dev/zero", folder_.path() / "multidrive_src");
   std::string const text = ": is no regular file: put a text file in its place";
   EXPECT_EQ(errors(), (Texts{"/blockdev" + text, "/multidrive" + text, "/multidrive_src" + text}));
}

TEST_F(ApplianceErrorsTest, AcceptsALinkToARegularFile) {
   folder_.write("elsewhere", "good drive");
   std::filesystem::create_symlink("elsewhere", folder_.path() / "blockdev");
   EXPECT_EQ(errors(), Texts{});
}

TEST_F(ApplianceErrorsTest, NamesTheRemedyWhereDescriptorsAreScarce) {
   folder_.write("blockdev", "good drive");
   Support::DescriptorLimit const limit{0};
   std::string const why = ": cannot be read: " + Vorn::errorAndRemedy(EMFILE);
   EXPECT_EQ(errors().front(), "/blockdev" + why);
}

TEST_F(ApplianceErrorsTest, ChecksTheMaximumOfEntriesWithOneProcess) {
   std::string text;
   for (int i = 0; i < 4096; ++i)
      text += "pci.*/ata" + std::to_string(i) + "/.* drive\n";
   folder_.write("blockdev", text);
   folder_.writeScript("expr", "echo run >>\"" + folder_.string() + "/runs\"\nexit 1");
   Support::EnvironmentSetting const path{"PATH", folder_.string()};
   EXPECT_EQ(errors(), Texts{});
   EXPECT_EQ(folder_.content("runs"), "run\n");
}

TEST_F(ApplianceErrorsTest, ReportsAMissingExprOnce) {
   Support::TraceRecorder const quiet{{"StorageCDevsUtil", 0}};
   folder_.write("blockdev", "a drive b flash");
   Support::EnvironmentSetting const path{"PATH", "/nowhere"};
   EXPECT_EQ(errors(),
             Texts{"/blockdev: its patterns cannot be matched, because expr is missing: install coreutils"});
}

}  // namespace

}  // namespace StorageDevices
