#include "agent/history/HistoryFileText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace Agent {
namespace {

using State = HistoryOfText::State;

constexpr char firstLine[] = "storagedevices history 1\n";

DiskHistory twoRows() {
   DiskHistory history{86400};
   history.fine().restore({100, 34.5F, 93, 1000, 2000});
   history.fine().restore({160.25, noReading, 92, noReading, 0});
   return history;
}

std::string textOf(DiskHistory const & history, std::string const & serial = "KS1") {
   HistoryTextWriter writer;
   std::string text = writer.begin();
   text += writer.disk(serial, history, 1700000000);
   return text + writer.end();
}

State stateOf(std::string const & text) {
   return readHistoryText(text).state;
}

// The text with another checksum, which fits.
std::string checked(std::string text) {
   boost::crc_32_type checksum;
   checksum.process_bytes(text.data(), text.size() - 4);
   std::uint32_t const value = checksum.checksum();
   std::memcpy(text.data() + text.size() - 4, &value, 4);
   return text;
}

// The text with the row at an index changed to that one.
std::string withRow(std::size_t index, HistoryRow const & row) {
   std::string text = textOf(twoRows());
   std::size_t const at = sizeof firstLine - 1 + 12 + 3 + index * sizeof row;
   std::memcpy(text.data() + at, &row, sizeof row);
   return checked(text);
}

TEST(HistoryFileTextTest, ReadsWhatItWrote) {
   std::string const text = textOf(twoRows());
   auto const read = readHistoryText(text);
   ASSERT_EQ(read.state, State::good);
   ASSERT_EQ(read.disks.size(), 1U);
   EXPECT_EQ(read.disks[0].serial, "KS1");
   EXPECT_EQ(read.disks[0].coarse.size(), 0U);
   ASSERT_EQ(read.disks[0].fine.size(), 2U);
   HistoryRow const first = read.disks[0].fine[0];
   EXPECT_EQ(first.time, 1700000100);
   EXPECT_EQ(first.temperature, 34.5F);
   EXPECT_EQ(first.writtenBytesPerSecond, 2000);
   HistoryRow const second = read.disks[0].fine[1];
   EXPECT_EQ(second.time, 1700000160.25);
   EXPECT_TRUE(std::isnan(second.temperature));
   EXPECT_EQ(second.lifeLeft, 92);
}

TEST(HistoryFileTextTest, ReadsBothResolutionsOfSeveralDisks) {
   DiskHistory history{864000};
   for (int i = 0; i < 3; ++i)
      history.add({i * 1000, 40}, 1000);
   HistoryTextWriter writer;
   std::string text = writer.begin();
   text += writer.disk("A", history, 0);
   text += writer.disk("B", twoRows(), 0);
   text += writer.end();
   auto const read = readHistoryText(text);
   ASSERT_EQ(read.disks.size(), 2U);
   EXPECT_EQ(read.disks[0].fine.size(), 3U);
   EXPECT_EQ(read.disks[0].coarse.size(), 3U);
   EXPECT_EQ(read.disks[1].serial, "B");
}

TEST(HistoryFileTextTest, ReadsAHistoryOfNoDisk) {
   HistoryTextWriter writer;
   std::string text = writer.begin();
   text += writer.end();
   EXPECT_EQ(stateOf(text), State::good);
}

TEST(HistoryFileTextTest, RefusesATextThatWasCutAnywhere) {
   std::string const text = textOf(twoRows());
   EXPECT_EQ(stateOf(""), State::empty);
   for (std::size_t size = 23; size < text.size(); ++size)
      EXPECT_EQ(stateOf(text.substr(0, size)), State::damaged) << size;
   EXPECT_EQ(stateOf(text + "x"), State::damaged);
}

TEST(HistoryFileTextTest, RefusesATextWithAnyOtherBit) {
   std::string const text = textOf(twoRows());
   for (std::size_t bit = 0; bit < text.size() * 8; ++bit) {
      std::string other = text;
      other[bit / 8] = static_cast<char>(other[bit / 8] ^ (1 << (bit % 8)));
      EXPECT_NE(stateOf(other), State::good) << bit;
   }
}

TEST(HistoryFileTextTest, DistinguishesForeignTextsAndLaterVersions) {
   EXPECT_EQ(stateOf("root:x:0:0:root:/root:/bin/bash\n"), State::foreign);
   EXPECT_EQ(stateOf("storagedevices"), State::foreign);
   EXPECT_EQ(stateOf("storagedevices history 2\nanything"), State::later);
   EXPECT_EQ(stateOf("storagedevices history 4294967295\n"), State::later);
   EXPECT_EQ(stateOf("storagedevices history 4294967296\n"), State::damaged);
   EXPECT_EQ(stateOf("storagedevices history 0\n"), State::damaged);
   EXPECT_EQ(stateOf("storagedevices history x\n"), State::damaged);
}

TEST(HistoryFileTextTest, RefusesFiguresThatCannotBe) {
   constexpr double infinity = std::numeric_limits<double>::infinity();
   constexpr float none = noReading;
   EXPECT_EQ(stateOf(withRow(1, {1700000161, 1000, 100, 1e30F, 0})), State::good);
   for (HistoryRow const & row : {HistoryRow{1700000161, -274},
                                  {1700000161, 1001},
                                  {1700000161, none, -0.1F},
                                  {1700000161, none, 100.1F},
                                  {1700000161, none, none, -1},
                                  {1700000161, none, none, none, std::numeric_limits<float>::infinity()},
                                  {1700000100, 40},
                                  {1700000099, 40},
                                  {infinity, 40},
                                  {std::nan(""), 40}})
      EXPECT_EQ(stateOf(withRow(1, row)), State::damaged) << row.time << " " << row.temperature;
}

TEST(HistoryFileTextTest, RefusesMoreRowsThanADiskCanHave) {
   DiskHistory full{86400 * 365};
   for (int i = 0; i < 5000; ++i)
      full.fine().restore({i, 40});
   std::string text = textOf(full);
   ASSERT_EQ(stateOf(text), State::good);
   HistoryRow const further{1700005000, 40};
   text.insert(text.size() - 16, reinterpret_cast<char const *>(&further), sizeof further);
   std::uint32_t const count = 5001;
   std::memcpy(text.data() + sizeof firstLine - 1 + 4, &count, 4);
   EXPECT_EQ(stateOf(checked(text)), State::damaged);
}

TEST(HistoryFileTextTest, RefusesCountsThatAreNotThere) {
   for (std::size_t const at : {0U, 4U, 8U})
      for (std::uint32_t const count : {1U, 5000U, 5001U, 178956971U, 4294967295U}) {
         std::string text = textOf(twoRows());
         std::memcpy(text.data() + sizeof firstLine - 1 + at, &count, 4);
         EXPECT_EQ(stateOf(checked(text)), State::damaged) << at << " " << count;
      }
}

}  // namespace
}  // namespace Agent
