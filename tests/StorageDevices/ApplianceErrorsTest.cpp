#include "StorageDevices/ApplianceErrors.h"

#include <gtest/gtest.h>

#include "tests/support/ProcessState.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;

class ApplianceFileErrors : public testing::Test {
 protected:
   Texts errors() const {
      Texts texts = applianceErrors(Pelm::String{folder_.string()});
      for (std::string & text : texts)
         text.erase(0, folder_.string().size());
      return texts;
   }

   Support::TempDir folder_;
};

TEST_F(ApplianceFileErrors, goodFilesAndMissingOnesHaveNone) {
   EXPECT_EQ(errors(), Texts{});
   folder_.fileIs("blockdev", "pci.*/ata1/.* drive\nplatform/.* flash\n");
   folder_.fileIs("multidrive", "pci.*/ata2/.*");
   folder_.fileIs("multidrive_src", "pci.*/ata2/.*");
   EXPECT_EQ(errors(), Texts{});
}

TEST_F(ApplianceFileErrors, aPatternWithoutAMountIsOne) {
   folder_.fileIs("blockdev", "a drive\nb");
   EXPECT_EQ(
       errors(),
       Texts{
           "/blockdev: its last pattern has no mount name: write pairs of a path pattern and a mount name"});
}

TEST_F(ApplianceFileErrors, aWordThatIsTooLongIsOneInEveryFile) {
   for (char const * const name : {"blockdev", "multidrive", "multidrive_src"})
      folder_.fileIs(name, std::string(5000, 'x') + " y");
   std::string const text =
       ": cannot be read to its end: is it a text file of words of at most 4096 characters, not more than "
       "4096 of "
       "them?";
   EXPECT_EQ(errors(), (Texts{"/blockdev" + text, "/multidrive" + text, "/multidrive_src" + text}));
}

TEST_F(ApplianceFileErrors, patternsThatExprRefusesAreNamed) {
   folder_.fileIs("blockdev", R"(pci\(.* drive good flash)");
   folder_.fileIs("multidrive", R"(good x\{2)");
   folder_.fileIs("multidrive_src", R"([a)");
   EXPECT_EQ(errors(),
             (Texts{R"(/blockdev: the pattern pci\(.* is no basic regular expression: correct it)",
                    R"(/multidrive: the pattern x\{2 is no basic regular expression: correct it)",
                    R"(/multidrive_src: the pattern [a is no basic regular expression: correct it)"}));
}

TEST_F(ApplianceFileErrors, aFileThatIsThereButCannotBeReadIsOne) {
   std::filesystem::create_symlink("blockdev", folder_.path() / "blockdev");
   EXPECT_EQ(errors(), Texts{"/blockdev: cannot be read: Too many levels of symbolic links"});
}

TEST_F(ApplianceFileErrors, aMissingExprIsToldOnce) {
   Support::TraceRecorder const quiet{{"StorageCDevsUtil", 0}};
   folder_.fileIs("blockdev", "a drive b flash");
   Support::EnvironmentSetting const path{"PATH", "/nowhere"};
   EXPECT_EQ(errors(),
             Texts{"/blockdev: its patterns cannot be matched, for there is no expr: install coreutils"});
}

}  // namespace

}  // namespace StorageDevices
