#include "manual/ManualTables.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>

#include "StorageDevices/LogCatalogue.h"

namespace Manual {
namespace {

std::string configured(std::string const & text) {
   std::istringstream file{text};
   return configurationTable(file);
}

TEST(ManualTablesTest, EscapesWhatIsMarkup) {
   EXPECT_EQ(plain(R"(a*b_c\d<e>#f)"), R"(a\*b\_c\\d\<e\>\#f)");
}

TEST(ManualTablesTest, ShowsEachPartOfAMessage) {
   Vorn::LogDescriptor const messages[] = {
       {"STORAGEDEVICE_HOT", "Disk %s is hot", "It is warm.", "Cool it.", 4}};
   EXPECT_EQ(
       messagesTable(messages),
       "## STORAGEDEVICE\\_HOT\n\nDisk %s is hot\n\n*Severity*\n\twarning\n\n*Meaning*\n\tIt is warm.\n\n"
       "*Action*\n\tCool it.\n\n");
}

TEST(ManualTablesTest, WritesAStandardActionAsASentence) {
   Vorn::LogDescriptor const messages[] = {StorageDevices::Catalogue::offline};
   EXPECT_NE(messagesTable(messages).find("contact the support"), std::string::npos)
       << messagesTable(messages);
}

TEST(ManualTablesTest, GroupsTheReasonsByTheirVerdict) {
   std::string const table = verdictsTable(Agent::verdictRules());
   for (Agent::VerdictRule const & rule : Agent::verdictRules())
      EXPECT_NE(table.find(std::string{"*"} + rule.code + "*\n"), std::string::npos) << rule.code;
   auto const failing = table.find("## failing\n");
   auto const warning = table.find("## warning\n");
   EXPECT_LT(failing, table.find("*self-assessment-failed*"));
   EXPECT_LT(table.find("*self-assessment-failed*"), warning);
   EXPECT_LT(warning, table.find("*life-low*"));
   EXPECT_EQ(table.find("## failing\n", failing + 1), std::string::npos);
}

TEST(ManualTablesTest, WritesAMetricAsAQueryHasIt) {
   Agent::MetricDefinition const plainOne{
       "lamp_hours_total", prometheus::MetricType::Counter, {}, "Hours of <light>."};
   Agent::MetricDefinition const labelled{
       "lamp_on", prometheus::MetricType::Gauge, {"lamp", "room_name"}, "1 while it is lit."};
   EXPECT_EQ(metricsTable(std::array{&plainOne, &labelled}),
             "*lamp\\_hours\\_total*, counter\n\tHours of \\<light\\>.\n\n"
             "*lamp\\_on*{lamp, room\\_name}, gauge\n\t1 while it is lit.\n\n");
}

TEST(ManualTablesTest, HasAnEntryForEachMetric) {
   std::string const table = metricsTable(Agent::Metric::all);
   for (Agent::MetricDefinition const * const metric : Agent::Metric::all)
      EXPECT_NE(table.find("*" + plain(metric->name) + "*"), std::string::npos) << metric->name;
}

TEST(ManualTablesTest, TakesTheCommentsOfAKeyFromAboveAndBeside) {
   EXPECT_EQ(configured("# Above, in\n# two lines.\n#key = 1  # beside\n"),
             "*key = 1*\n\tAbove, in two lines. beside\n\n");
}

TEST(ManualTablesTest, ContinuesACommentBelowItsKey) {
   EXPECT_EQ(configured("#key = \"a\"  # begins\n        # and ends\n"),
             "*key = \"a\"*\n\tbegins and ends\n\n");
}

TEST(ManualTablesTest, DropsACommentThatAnEmptyLineEnds) {
   EXPECT_EQ(configured("# Of the file.\n\n[log]\n#key = 1 # it\n"), "## [log]\n\n*key = 1*\n\tit\n\n");
}

TEST(ManualTablesTest, NamesAKeyWithoutACommentAnExample) {
   EXPECT_EQ(configured("#S3EVNX = \"Sensor\"\n"), "*S3EVNX = \"Sensor\"*\n\tAn example.\n\n");
}

}  // namespace
}  // namespace Manual
