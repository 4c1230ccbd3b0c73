// Every row of the table of kernel messages, through rewriting and the library's own matcher.
#include "agent/kernel/KernelMessages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "StorageDevices/KernelLine.h"
#include "agent/kernel/KernelLineRewrite.h"
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

TEST(KernelMessagesTest, MatchesEveryExampleWithItsOwnRow) {
   forEachMessage([](auto const & group, auto const & message) {
      Agent::KernelMatch match;
      std::string_view text = message.example;
      text.remove_prefix(std::min(text.size(), text.find_first_not_of(' ')));
      EXPECT_EQ(Agent::kernelMessageOf(text, match), &message)
          << group.source << ": " << message.pattern << "\n"
          << message.example;
   });
}

TEST(KernelMessagesTest, NamesTheDeviceOfEveryExampleOrNobody) {
   forEachMessage([](auto const & group, auto const & message) {
      EXPECT_EQ(deviceOf(message.example), message.device) << group.source << ": " << message.example;
      EXPECT_EQ(message.device.empty(), message.form == Agent::KernelForm::nobody) << message.example;
      std::string const line = Agent::rewriteKernelLine(lineOf(message.example));
      EXPECT_EQ(Support::deviceByExpressions(line), message.device) << line;
   });
}

TEST(KernelMessagesTest, KeepsTheWordsOfExamplesThatNameNobody) {
   forEachMessage([](auto const &, auto const & message) {
      if (message.device.empty()) {
         EXPECT_TRUE(Agent::rewriteKernelLine(lineOf(message.example)).ends_with(message.example));
      }
   });
}

TEST(KernelMessagesTest, KeepsTheWordingOfTheKernelBehindTheLibrarys) {
   forEachMessage([](auto const &, auto const & message) {
      if (message.form == Agent::KernelForm::quoted) {
         EXPECT_TRUE(Agent::rewriteKernelLine(lineOf(message.example)).ends_with(message.example));
      }
   });
}

TEST(KernelMessagesTest, HasNoExampleTwice) {
   std::set<std::string_view> seen;
   forEachMessage([&](auto const & group, auto const & message) {
      EXPECT_FALSE(group.source.empty());
      EXPECT_FALSE(group.messages.empty());
      EXPECT_TRUE(seen.insert(message.example).second) << message.example;
   });
   EXPECT_GT(seen.size(), 490U);
}

// The alternatives of each "<a|b>" of a pattern.
std::vector<std::vector<std::string>> alternativesOf(std::string_view pattern) {
   std::vector<std::vector<std::string>> found;
   for (auto open = pattern.find('<'); open != pattern.npos; open = pattern.find('<', open + 1)) {
      auto & choices = found.emplace_back(1);
      for (char const c : pattern.substr(open + 1, pattern.find('>', open) - open - 1))
         if (c == '|')
            choices.emplace_back();
         else
            choices.back() += c;
   }
   return found;
}

void expectNoneHidesALater(std::string_view pattern) {
   for (auto const & choices : alternativesOf(pattern))
      for (auto earlier = choices.begin(); earlier != choices.end(); ++earlier)
         for (auto later = earlier + 1; later != choices.end(); ++later) {
            EXPECT_NE(*earlier, "") << pattern;
            EXPECT_FALSE(later->starts_with(*earlier)) << *later << " in " << pattern;
         }
}

TEST(KernelMessagesTest, HidesNoAlternativeBehindAnEarlierOne) {
   forEachMessage([](auto const & group, auto const & message) {
      expectNoneHidesALater(group.beginning);
      expectNoneHidesALater(message.pattern);
   });
}

TEST(KernelMessagesTest, NamesTheDeviceOfLongerAlternativesToo) {
   EXPECT_EQ(deviceOf("XFS (sda3): corrupted root inode 128: not a directory"), "sda");
   EXPECT_EQ(
       deviceOf("BTRFS warning (device sda1): checksum/header error at logical 1048576 on dev /dev/sdb1, "
                "physical 8: metadata leaf (level 0) in tree 5"),
       "sdb");
}

// Of these no word gives a disk to the library: only the table says that it was meant so.
TEST(KernelMessagesTest, HasARowOfNobodyWhereTheNamedDiskDidNotFail) {
   for (std::string const text :
        {"XFS (sda3): log device read failed", "EXT4-fs (sda1): I/O error on journal device",
         "EXT4-fs (sda1): couldn't read superblock of external journal",
         "EXT4-fs (sda1): external journal has bad superblock",
         "EXT4-fs (sda1): failed to open journal device unknown-block(8,17) -6",
         "FAT-fs (sdc1): get root inode failed", "md: kicking non-fresh sdb1 from array!",
         "device-mapper: raid1: Primary mirror (8:16) failed while out-of-sync: Reads may fail."}) {
      Agent::KernelMatch match;
      auto const * const message = Agent::kernelMessageOf(text, match);
      EXPECT_TRUE(message && message->form == Agent::KernelForm::nobody) << text;
      EXPECT_EQ(deviceOf(text), "") << text;
   }
}

struct Attestation {
   std::vector<std::string> versions;
   std::vector<std::string> files;
};

std::vector<std::string> listOf(std::string const & text) {
   std::vector<std::string> items;
   for (std::size_t at = 0; at < text.size();) {
      std::size_t const end = std::min(text.size(), text.find(", ", at));
      items.push_back(text.substr(at, end - at));
      at = end + 2;
   }
   return items;
}

// Of each row, by its whole pattern, where its statement was seen.
std::map<std::string, Attestation> recordedSources() {
   std::ifstream stream{TEST_DATA_DIR "/kernel-lines/sources.txt"};
   std::map<std::string, Attestation> recorded;
   for (std::string line; std::getline(stream, line);) {
      if (line.starts_with('#'))
         continue;
      std::size_t const first = line.find('\t');
      std::size_t const second = line.find('\t', first + 1);
      EXPECT_NE(second, line.npos) << line;
      Attestation const row{listOf(line.substr(0, first)),
                            listOf(line.substr(first + 1, second - first - 1))};
      EXPECT_TRUE(recorded.emplace(line.substr(second + 1), row).second) << line;
   }
   return recorded;
}

// Files of the kernel, "drivers/md/raid1.c, raid10.c": one without a folder lies in that of the one before.
std::set<std::string> filesOf(std::string const & source) {
   std::set<std::string> files;
   std::string folder;
   for (std::string const & file : listOf(source)) {
      bool const isWhole =
          file.starts_with("block/") || file.starts_with("fs/") || file.starts_with("drivers/");
      if (isWhole)
         folder = file.substr(0, file.rfind('/') + 1);
      files.insert(isWhole ? file : folder + file);
   }
   return files;
}

// "6.12" or "about 4.4".
bool isVersion(std::string version) {
   if (version.starts_with("about "))
      version.erase(0, 6);
   std::size_t const dot = version.find('.');
   return dot == 1 && version.size() > 2 && std::count(version.begin(), version.end(), '.') == 1 &&
          version.find_first_not_of("0123456789.") == version.npos;
}

TEST(KernelMessagesTest, HasAVersionAndASourceFilePerRowAndRecordsNoOthers) {
   auto recorded = recordedSources();
   forEachMessage([&](auto const & group, auto const & message) {
      std::string const row = std::string{group.beginning} + std::string{message.pattern};
      auto const found = recorded.find(row);
      ASSERT_NE(found, recorded.end()) << row;
      Attestation const seen = found->second;
      recorded.erase(found);
      if (group.source == "none")
         return;
      EXPECT_FALSE(seen.versions.empty() || seen.files.empty()) << row;
      for (std::string const & version : seen.versions)
         EXPECT_TRUE(isVersion(version)) << version << ": " << row;
      for (std::string const & file : seen.files)
         EXPECT_TRUE(filesOf(std::string{group.source}).contains(file)) << file << ": " << row;
   });
   for (auto const & [row, seen] : recorded)
      ADD_FAILURE() << "in no table: " << row;
}

}  // namespace
