#include "StorageDevices/ExprPattern.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/support/ProcessState.h"
#include "tests/support/RandomSeed.h"

namespace StorageDevices {

namespace {

constexpr char path[] = "pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda";

class ExprPatternTest : public testing::Test {
 protected:
   // Compares what is answered here with what the program answers.
   void expectTheSame(char const * string, std::string const & pattern) {
      EXPECT_EQ(patterns_.ask(string, pattern.c_str()).status,
                CDevsUtil::askExpr(string, pattern.c_str()).status)
          << "\"" << string << "\" and " << pattern;
   }

   ExprPatterns patterns_;
};

TEST_F(ExprPatternTest, AnswersPatternsOfAppliancesAsExprDoes) {
   for (char const * const pattern : {"pci0000:00/0000:00:1f.2/ata1",
                                      "pci.*/ata1/.*",
                                      ".*/ata[0-9]*/",
                                      ".*usb",
                                      "ata1",
                                      "",
                                      ".*",
                                      ".",
                                      "pci.*sda$",
                                      "pci.*sdb$",
                                      "^pci",
                                      "^ata",
                                      "pci0000:00$",
                                      "[p]ci",
                                      "[^p]ci",
                                      "x*",
                                      "p*",
                                      "pc\\?i",
                                      "pc\\+i",
                                      "usb\\|pci",
                                      "pci\\|",
                                      "\\.",
                                      "pci\\w*",
                                      "\\bpci",
                                      "\\<pci",
                                      "\\`pci",
                                      "\\'",
                                      "*",
                                      "*pci",
                                      "^*",
                                      "[a-p]*",
                                      "[[:alpha:]]*",
                                      "[[:none:]]",
                                      "p**",
                                      "pci/*",
                                      "[]p]ci",
                                      "[p",
                                      "[p]]",
                                      "pci\\",
                                      "[[.p.]]",
                                      "[[=p=]]ci",
                                      "[z-a]",
                                      "[p-pz-a]",
                                      "a+b",
                                      "(pci)",
                                      "p{1}"})
      for (char const * const string : {path, "", "/", "*", "p", "(pci)", "\n", "a+b"})
         expectTheSame(string, pattern);
}

TEST_F(ExprPatternTest, LeavesGroupsCountsAndReferencesToExpr) {
   for (char const * const pattern : {"\\(pci\\).*", "\\(x*\\)", "\\(0\\)", "p\\{1\\}", "p\\{1", "\\(p",
                                      "\\)", "\\(p\\)\\1", "p\\1", "\\{1\\}p", "p\\{2,1\\}", "\\\\(p"}) {
      expectTheSame(path, pattern);
      expectTheSame("000", pattern);
   }
   EXPECT_FALSE(isPlainPattern("\\(a"));
   EXPECT_FALSE(isPlainPattern("a\\{1"));
   EXPECT_FALSE(isPlainPattern("a\\1"));
   EXPECT_TRUE(isPlainPattern("a(1){2}\\."));
}

TEST_F(ExprPatternTest, AnswersRandomPatternsAsExprDoes) {
   std::mt19937 random{Support::randomSeed(11)};
   constexpr std::string_view letters = "aab..**[]^$\\-+?|/";
   for (int i = 0; i < 1500; ++i) {
      std::string pattern(1 + random() % 7, ' ');
      for (char & letter : pattern)
         letter = letters[random() % letters.size()];
      std::string string(random() % 5, ' ');
      for (char & letter : string)
         letter = "ab/"[random() % 3];
      expectTheSame(string.c_str(), pattern);
   }
}

TEST_F(ExprPatternTest, StartsNoProgramForPlainPatterns) {
   Support::EnvironmentSetting const noPrograms{"PATH", "/nowhere"};
   for (int i = 0; i < 1000; ++i)
      EXPECT_EQ(patterns_.ask(path, ".*/ata1/.*").status, 0);
   EXPECT_NE(patterns_.ask(path, "\\(pci\\)").startError, 0);
}

}  // namespace

}  // namespace StorageDevices
