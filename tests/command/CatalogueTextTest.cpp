#include "command/CatalogueText.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <array>

namespace Command {
namespace {

constexpr std::array<CatalogueEntry, 2> entries{
    CatalogueEntry{"STORAGEDEVICE_OFFLINE", 3, "Device %s is gone", "It was removed.",
                   "Check the connection.", std::uint8_t{3}},
    CatalogueEntry{"STORAGEDEVICE_MONITOR_WARNING", 4, "disk utilization on %s", "Low disk \"space\".",
                   "Delete data.", std::nullopt}};

TEST(CatalogueTextTest, WritesAParagraphPerMessage) {
   EXPECT_EQ(catalogueText(entries),
             "STORAGEDEVICE_OFFLINE (error)\n"
             "   Device %s is gone\n"
             "   Meaning: It was removed.\n"
             "   Action:  Check the connection.\n"
             "\n"
             "STORAGEDEVICE_MONITOR_WARNING (warning)\n"
             "   disk utilization on %s\n"
             "   Meaning: Low disk \"space\".\n"
             "   Action:  Delete data.\n");
}

TEST(CatalogueJsonTest, HasEveryFieldInOrder) {
   rapidjson::Document document;
   document.Parse(catalogueJson(entries).c_str());
   ASSERT_FALSE(document.HasParseError());
   auto const & messages = document["messages"];
   ASSERT_EQ(messages.Size(), 2U);
   EXPECT_STREQ(messages[0]["name"].GetString(), "STORAGEDEVICE_OFFLINE");
   EXPECT_EQ(messages[0]["severity"].GetInt(), 3);
   EXPECT_EQ(messages[0]["recommendedAction"].GetInt(), 3);
   EXPECT_EQ(messages[1].MemberCount(), 5U);
   EXPECT_STREQ(messages[1]["format"].GetString(), "disk utilization on %s");
   EXPECT_STREQ(messages[1]["explanation"].GetString(), "Low disk \"space\".");
   EXPECT_STREQ(messages[1]["recommendedAction"].GetString(), "Delete data.");
}

TEST(CatalogueJsonTest, IsAnEmptyListWithoutMessages) {
   rapidjson::Document document;
   document.Parse(catalogueJson({}).c_str());
   ASSERT_FALSE(document.HasParseError());
   EXPECT_TRUE(document["messages"].Empty());
   EXPECT_EQ(catalogueText({}), "");
}

}  // namespace
}  // namespace Command
