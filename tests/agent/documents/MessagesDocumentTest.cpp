#include "agent/documents/MessagesDocument.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <string>
#include <vector>

#include "runtime/Vorn/Format.h"
#include "runtime/Vorn/Log.h"
#include "tests/support/DocumentText.h"

namespace {

constexpr Vorn::LogDescriptor lamp{"LAMP_OUT", "lamp %s of %s is out", "It is dark.", "Change it.", 4};
constexpr Vorn::LogDescriptor fire{"FIRE", "fire", "It is hot.",
                                   Vorn::RecommendedAction::Standard::contactSupport, 3};

void add(Agent::MessageStore & store, Vorn::LogDescriptor const & descriptor,
         std::vector<Pelm::String> const & arguments, double utc) {
   store.add({descriptor, arguments, Vorn::logText(descriptor, arguments), utc});
}

rapidjson::Document messages(Agent::MessageStore const & store, std::uint64_t after) {
   rapidjson::Document document;
   document.Parse(Support::documentText(*Agent::messagesDocument(store, after)).c_str());
   return document;
}

TEST(MessagesDocumentTest, ShowsEverythingOfAMessage) {
   Agent::MessageStore store;
   add(store, lamp, {"1", "hall"}, 1795196298.5);
   EXPECT_EQ(Support::documentText(*Agent::messagesDocument(store, 0)),
             R"({"messages":[{"sequence":1,"time":1795196298.5,"name":"LAMP_OUT","severity":4,)"
             R"("text":"lamp 1 of hall is out","arguments":["1","hall"],"explanation":"It is dark.",)"
             R"("recommendedAction":"Change it."}]})");
}

TEST(MessagesDocumentTest, ShowsAStandardActionInWords) {
   Agent::MessageStore store;
   add(store, fire, {}, 1);
   auto const document = messages(store, 0);
   EXPECT_GT(std::string{document["messages"][0]["recommendedAction"].GetString()}.size(), 20U);
}

TEST(MessagesDocumentTest, ShowsOnlyLaterMessagesOldestFirst) {
   Agent::MessageStore store;
   for (int i = 0; i < 5; ++i)
      add(store, lamp, {Vorn::valueToString(i), "hall"}, i);
   auto const document = messages(store, 3);
   ASSERT_EQ(document["messages"].Size(), 2U);
   EXPECT_EQ(document["messages"][0]["sequence"].GetInt(), 4);
   EXPECT_EQ(document["messages"][1]["sequence"].GetInt(), 5);
   EXPECT_EQ(messages(store, 5)["messages"].Size(), 0U);
   EXPECT_EQ(messages(store, UINT64_MAX)["messages"].Size(), 0U);
}

TEST(MessagesDocumentTest, KeepsTheLastTwoThousandAndCountsOn) {
   Agent::MessageStore store;
   for (int i = 0; i < 2500; ++i)
      add(store, fire, {}, i);
   auto const document = messages(store, 0);
   ASSERT_EQ(document["messages"].Size(), 2000U);
   EXPECT_EQ(document["messages"][0]["sequence"].GetInt(), 501);
   EXPECT_EQ(store.lastSequence(), 2500U);
}

TEST(MessagesDocumentTest, WritesTextsOfDevicesAsValidJson) {
   Agent::MessageStore store;
   add(store, lamp, {Pelm::String{std::string_view{"a\0\xff\"\x1b[31m", 9}}, "hall"}, 1);
   auto const document = messages(store, 0);
   ASSERT_FALSE(document.HasParseError());
   EXPECT_EQ(std::string(document["messages"][0]["arguments"][0].GetString(), 6), std::string("a\0\\xff", 6));
}

}  // namespace
