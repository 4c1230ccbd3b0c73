#include "command/MessagesText.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace Command {
namespace {

using Form = MessageFeed::Form;

std::string message(int sequence, std::string const & time, std::string const & text) {
   return R"({"sequence":)" + std::to_string(sequence) + R"(,"time":)" + time +
          R"(,"name":"STORAGEDEVICE_OFFLINE","severity":3,"text":")" + text +
          R"(","arguments":["S1"],"explanation":"It went.","recommendedAction":"Put it back."})";
}

std::string answer(std::string const & messages) {
   return R"({"messages":[)" + messages + "]}";
}

TEST(MessageFeedTest, ShowsAMessageLikeTheLogWithItsExplanation) {
   MessageFeed feed{Form::text};
   EXPECT_EQ(feed.resource(), "/api/v1/messages");
   EXPECT_EQ(feed.take(answer(message(1, "1795196298.5", "S1 is gone"))),
             "2026-11-20T17:38:18.500Z error STORAGEDEVICE_OFFLINE: S1 is gone\n"
             "   Meaning: It went.\n"
             "   Action:  Put it back.\n");
}

TEST(MessageFeedTest, ShowsEachMessageOnce) {
   MessageFeed feed{Form::text};
   EXPECT_EQ(feed.take(answer("")), "");
   EXPECT_EQ(feed.resource(), "/api/v1/messages");
   std::string const first = feed.take(answer(message(1, "1", "one") + "," + message(2, "2", "two")));
   EXPECT_LT(first.find("one"), first.find("two"));
   EXPECT_EQ(feed.resource(), "/api/v1/messages?after=1");
   EXPECT_EQ(feed.take(answer(message(2, "2", "two"))), "");
   std::string const next = feed.take(answer(message(2, "2", "two") + "," + message(3, "3", "three")));
   EXPECT_EQ(next.find("two"), std::string::npos);
   EXPECT_NE(next.find("three"), std::string::npos);
}

TEST(MessageFeedTest, RestartsWithARestartedAgent) {
   MessageFeed feed{Form::text};
   feed.take(answer(message(2, "2", "two")));
   EXPECT_EQ(feed.take(answer("")), "");
   EXPECT_EQ(feed.resource(), "/api/v1/messages");
   EXPECT_NE(feed.take(answer(message(1, "9", "new one"))).find("new one"), std::string::npos);
   EXPECT_EQ(feed.take(answer(message(1, "10", "another"))), "");
   EXPECT_NE(feed.take(answer(message(1, "10", "another"))).find("another"), std::string::npos);
}

TEST(MessageFeedTest, ContinuesWhenTheLastMessageIsKeptNoLonger) {
   MessageFeed feed{Form::text};
   feed.take(answer(message(2, "2", "two")));
   EXPECT_NE(feed.take(answer(message(5000, "9", "later"))).find("later"), std::string::npos);
}

TEST(MessageFeedTest, ShowsAMessageAsOneLineOfJson) {
   MessageFeed feed{Form::json};
   EXPECT_EQ(feed.take(answer(message(1, "1.5", "\\u001b\\u007f\\u00e4"))),
             message(1, "1.5", "\\u001B\\u007f\\u00E4") + "\n");
}

TEST(MessageFeedTest, EscapesTerminalControlsInTextsOfDevices) {
   MessageFeed feed{Form::text};
   std::string const text = feed.take(answer(message(1, "1", "\\u001b[2J\\nfake\\u0000")));
   EXPECT_NE(text.find("\\x1b[2J\\nfake\\x00"), std::string::npos) << text;
}

TEST(MessageFeedTest, RefusesAMessageThatCouldNotBeWrittenAsJson) {
   MessageFeed feed{Form::json};
   for (std::string const text : {"te\xc3", "te\\ude00"})
      EXPECT_THROW(feed.take("{\"messages\":[{\"sequence\":1,\"" + text + "\":1}]}"), std::runtime_error);
   constexpr std::size_t deep = 1000000;
   std::string const nested = std::string(deep, '[') + std::string(deep, ']');
   EXPECT_THROW(feed.take("{\"messages\":[{\"sequence\":1,\"text\":" + nested + "}]}"), std::runtime_error);
   std::string const quoted = "\"\\\"" + std::string(deep, '[') + "\"";
   EXPECT_NE(feed.take("{\"messages\":[{\"sequence\":1,\"text\":" + quoted + "}]}"), "");
}

TEST(MessageFeedTest, RefusesOddAnswersInOneLineAndShowsOddMessagesAsFarAsPossible) {
   MessageFeed feed{Form::text};
   for (char const * odd : {"", "{", "[]", "{}", R"({"messages":{}})"})
      EXPECT_THROW(feed.take(odd), std::runtime_error) << odd;
   EXPECT_EQ(feed.take(R"({"messages":[{"sequence":1,"severity":1e300},7]})"),
             "1970-01-01T00:00:00.000Z unknown : \n");
}

}  // namespace
}  // namespace Command
