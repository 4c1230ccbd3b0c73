// Every row of the table of kernel messages, through rewriting and the library's own matcher.
#include "agent/KernelMessages.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <string>

#include "StorageDevices/KernelLine.h"
#include "agent/KernelLineRewrite.h"
#include "tests/support/KernelLineOracle.h"

namespace {

std::string lineOf(std::string_view text) {
   return "kernel: [   12.345678] " + std::string{text};
}

// By the library's matcher; empty for none.
std::string deviceOf(std::string_view text) {
   std::string const line = Agent::rewriteKernelLine(lineOf(text));
   return std::string{StorageDevices::deviceInKernelLine(line).value_or("")};
}

void forEachMessage(auto const & check) {
   for (auto const & groups : Agent::kernelMessages())
      for (auto const & group : groups)
         for (auto const & message : group.messages)
            check(group, message);
}

TEST(KernelMessagesTest, EveryExampleIsItsOwnRows) {
   forEachMessage([](auto const & group, auto const & message) {
      Agent::KernelMatch match;
      std::string_view text = message.example;
      text.remove_prefix(std::min(text.size(), text.find_first_not_of(' ')));
      EXPECT_EQ(Agent::kernelMessageOf(text, match), &message)
          << group.source << ": " << message.pattern << "\n"
          << message.example;
   });
}

TEST(KernelMessagesTest, EveryExampleNamesItsDeviceOrNobody) {
   forEachMessage([](auto const & group, auto const & message) {
      EXPECT_EQ(deviceOf(message.example), message.device) << group.source << ": " << message.example;
      EXPECT_EQ(message.device.empty(), message.form == Agent::KernelForm::nobody) << message.example;
      std::string const line = Agent::rewriteKernelLine(lineOf(message.example));
      EXPECT_EQ(Support::deviceByExpressions(line), message.device) << line;
   });
}

TEST(KernelMessagesTest, ExamplesThatNameNobodyKeepTheirWords) {
   forEachMessage([](auto const &, auto const & message) {
      if (message.device.empty()) {
         EXPECT_TRUE(Agent::rewriteKernelLine(lineOf(message.example)).ends_with(message.example));
      }
   });
}

TEST(KernelMessagesTest, WordsOfTheKernelFollowTheLibrarys) {
   forEachMessage([](auto const &, auto const & message) {
      if (message.form == Agent::KernelForm::told) {
         EXPECT_TRUE(Agent::rewriteKernelLine(lineOf(message.example)).ends_with(message.example));
      }
   });
}

TEST(KernelMessagesTest, NoExampleStandsTwice) {
   std::set<std::string_view> seen;
   forEachMessage([&](auto const & group, auto const & message) {
      EXPECT_FALSE(group.source.empty());
      EXPECT_FALSE(group.messages.empty());
      EXPECT_TRUE(seen.insert(message.example).second) << message.example;
   });
   EXPECT_GT(seen.size(), 200U);
}

// Of each row, by the file that prints it and its whole pattern, where its statement was seen.
std::map<std::string, std::string> recordedSources() {
   std::ifstream stream{TEST_DATA_DIR "/kernel-lines/sources.txt"};
   std::map<std::string, std::string> recorded;
   for (std::string line; std::getline(stream, line);) {
      if (line.starts_with('#'))
         continue;
      std::size_t const tab = line.find('\t');
      EXPECT_NE(tab, line.npos) << line;
      EXPECT_TRUE(recorded.emplace(line.substr(tab + 1), line.substr(0, tab)).second) << line;
   }
   return recorded;
}

TEST(KernelMessagesTest, EveryRowsSourceIsRecordedAndNoOther) {
   std::set<std::string> const places{"4.19", "6.6", "source", "printed", "none", "not seen"};
   auto recorded = recordedSources();
   forEachMessage([&](auto const & group, auto const & message) {
      std::string const row =
          std::string{group.source} + '\t' + std::string{group.beginning} + std::string{message.pattern};
      auto const found = recorded.find(row);
      ASSERT_NE(found, recorded.end()) << row;
      EXPECT_TRUE(places.contains(found->second)) << found->second << ": " << row;
      recorded.erase(found);
   });
   for (auto const & [row, place] : recorded)
      ADD_FAILURE() << "in no table: " << row;
}

}  // namespace
