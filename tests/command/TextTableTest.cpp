#include "command/TextTable.h"

#include <gtest/gtest.h>

#include <sstream>

#include "base/Text.h"

namespace Command {
namespace {

using Omit = Column::Omit;

std::vector<Column> sample() {
   return {{"NAME", 4, Omit::never, false, {{"alpha"}, {"beta"}}},
           {"SIZE", 4, Omit::never, true, {{"5 GB"}, {"1000 GB"}}},
           {"MODEL", 4, Omit::early, false, {{"one long model"}, {"x"}}},
           {"KIND", 4, Omit::early, false, {{"fixed"}, {"fixed"}}},
           {"NOTE", 4, Omit::ifEmpty, false, {{""}, {"look", Tone::bad}}}};
}

TEST(TextTableTest, SetsColumnsSideBySide) {
   EXPECT_EQ(textTable(sample(), 0, false),
             "NAME      SIZE  MODEL           KIND   NOTE\n"
             "alpha     5 GB  one long model  fixed\n"
             "beta   1000 GB  x               fixed  look\n");
}

TEST(TextTableTest, OmitsEmptyColumns) {
   std::vector<Column> columns = sample();
   columns[0].cells = {{""}, {""}};
   columns[3].cells = {{""}, {""}};
   columns[4].cells = {{""}, {""}};
   EXPECT_EQ(textTable(columns, 0, false),
             "NAME     SIZE  MODEL\n"
             "         5 GB  one long model\n"
             "      1000 GB  x\n");
}

TEST(TextTableTest, CutsTheWidestCellsFirst) {
   EXPECT_EQ(textTable(sample(), 36, false),
             "NAME      SIZE  MODEL    KIND   NOTE\n"
             "alpha     5 GB  one lo…  fixed\n"
             "beta   1000 GB  x        fixed  look\n");
}

TEST(TextTableTest, DropsColumnsOfTheSecondRankLast) {
   std::vector<Column> columns = sample();
   columns[2].omit = Omit::late;
   EXPECT_EQ(textTable(columns, 24, false),
             "NAME    SIZE  MOD…  NOTE\n"
             "alpha   5 GB  one…\n"
             "beta   1000…  x     look\n"
             "(too narrow for KIND)\n");
   EXPECT_EQ(textTable(columns, 20, false),
             "NAME      SIZE  NOTE\n"
             "alpha     5 GB\n"
             "beta   1000 GB  look\n"
             "(too narrow for MOD…\n");
}

TEST(TextTableTest, DropsTheRightmostEarlyColumnsWhereCuttingIsNotEnough) {
   EXPECT_EQ(textTable(sample(), 24, false),
             "NAME    SIZE  MOD…  NOTE\n"
             "alpha   5 GB  one…\n"
             "beta   1000…  x     look\n"
             "(too narrow for KIND)\n");
   EXPECT_EQ(textTable(sample(), 18, false),
             "NAME    SIZE  NOTE\n"
             "alpha   5 GB\n"
             "beta   1000…  look\n"
             "(too narrow for M…\n");
}

TEST(TextTableTest, IsNeverWiderThanTheTerminal) {
   for (std::size_t width = 1; width < 60; ++width) {
      std::istringstream lines{textTable(sample(), width, false)};
      for (std::string line; std::getline(lines, line);)
         EXPECT_LE(Base::displayWidth(line), width) << line;
   }
}

TEST(TextTableTest, ColoursWithoutMovingAnything) {
   std::string text = textTable(sample(), 0, true);
   EXPECT_NE(text.find("fixed  \x1b[31mlook\x1b[0m\n"), std::string::npos);
   EXPECT_EQ(text.find("\x1b[1mNAME\x1b[0m"), 0U);
   for (std::string const code : {"\x1b[0m", "\x1b[1m", "\x1b[31m"})
      for (std::size_t at = text.find(code); at != std::string::npos; at = text.find(code))
         text.erase(at, code.size());
   EXPECT_EQ(text, textTable(sample(), 0, false));
}

TEST(TextTableTest, MeasuresWideCharactersAndMarks) {
   std::vector<Column> const columns{{"A", 4, Omit::never, false, {{"東京"}, {"é"}}},
                                     {"B", 4, Omit::never, false, {{"1"}, {"2"}}}};
   EXPECT_EQ(textTable(columns, 0, false), "A     B\n東京  1\né     2\n");
}

TEST(TextTableTest, IsAnEmptyLineWithoutColumns) {
   EXPECT_EQ(textTable({}, 80, false), "\n");
}

}  // namespace
}  // namespace Command
