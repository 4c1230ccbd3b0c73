#include "StorageDevices/ApplianceFiles.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>

#include "DataFiles.h"

namespace StorageDevices {
namespace {

using Entry = BlockdevFile::Entry;

BlockdevFile blockdev(std::string const & text) {
   std::istringstream file(text);
   return readBlockdev(file);
}

MultidriveFile multidrive(std::string const & text) {
   std::istringstream file(text);
   return readMultidrive(file);
}

MultidriveSrcFile multidriveSrc(std::string const & text) {
   std::istringstream file(text);
   return readMultidriveSrc(file);
}

// A file that gives its text and then, as a bad disk does, neither more nor an end.
class FailingFile : public std::streambuf {
 public:
   explicit FailingFile(std::string text) : text_(std::move(text)) {
      setg(text_.data(), text_.data(), text_.data() + text_.size());
   }

 protected:
   int_type underflow() override { throw std::runtime_error("input/output error"); }

 private:
   std::string text_;
};

// A file that has no end.
class EndlessFile : public std::streambuf {
 public:
   explicit EndlessFile(std::string piece) : piece_(std::move(piece)) {}

   std::size_t given() const { return given_; }

 protected:
   int_type underflow() override {
      given_ += piece_.size();
      setg(piece_.data(), piece_.data(), piece_.data() + piece_.size());
      return traits_type::to_int_type(piece_.front());
   }

 private:
   std::string piece_;
   std::size_t given_ = 0;
};

TEST(ApplianceFilesTest, ReadsTheEntriesOfAWholeBlockdevFile) {
   auto const file = blockdev(TestData::sample("appliance/blockdev"));
   EXPECT_FALSE(file.readError);
   ASSERT_EQ(file.entries.size(), 4U);
   EXPECT_EQ(file.entries[0], (Entry{"pci0000:00/0000:00:1f.2/ata1", "drive", true}));
   EXPECT_EQ(file.entries[1], (Entry{"pci0000:00/0000:00:14.0/usb1/1-7/1-7:1.0", "flash", true}));
   EXPECT_EQ(file.entries[2], (Entry{"pci0000:00/0000:00:1d.0/0000:03:00.0/nvme/nvme0", "drive2", true}));
   EXPECT_EQ(file.entries[3], (Entry{"platform/soc/fe340000.mmc/mmc_host/mmc0", "emmc", true}));
}

TEST(ApplianceFilesTest, IgnoresLineBreaksInBlockdev) {
   auto const file = blockdev("  a/b\n\n\tdrive c/1.*$ \v\f\r\n drive2");
   EXPECT_EQ(file.entries, (std::vector<Entry>{{"a/b", "drive", false}, {"c", "drive2", true}}));
   EXPECT_FALSE(file.readError);
}

TEST(ApplianceFilesTest, DropsTheLastOfAnOddNumberOfWordsSilently) {
   auto const file = blockdev("a/b drive c/d\n");
   EXPECT_EQ(file.entries, (std::vector<Entry>{{"a/b", "drive", false}}));
   EXPECT_FALSE(file.readError);
   EXPECT_FALSE(blockdev("alone").readError);
   EXPECT_TRUE(blockdev("alone").entries.empty());
}

TEST(ApplianceFilesTest, ReadsEmptyFilesWithoutAnError) {
   for (auto const * text : {"", " \n\t\n"}) {
      EXPECT_TRUE(blockdev(text).entries.empty());
      EXPECT_FALSE(blockdev(text).readError);
      EXPECT_TRUE(multidrive(text).patterns.empty());
      EXPECT_FALSE(multidrive(text).readError);
      EXPECT_EQ(multidriveSrc(text).pattern, std::nullopt);
      EXPECT_FALSE(multidriveSrc(text).readError);
   }
}

TEST(ApplianceFilesTest, ReadsMultidrivePatternsInOrder) {
   auto const file = multidrive(TestData::sample("appliance/multidrive"));
   EXPECT_EQ(file.patterns, (std::vector<std::string>{"pci0000:00/0000:00:1f.2/ata1/.*",
                                                      "pci0000:00/0000:00:1f.2/ata2/.*"}));
   EXPECT_FALSE(file.readError);
}

TEST(ApplianceFilesTest, ReadsOnlyTheFirstWordOfMultidriveSrc) {
   EXPECT_EQ(multidriveSrc(TestData::sample("appliance/multidrive_src")).pattern,
             "pci0000:00/0000:00:1f.2/ata2/.*");
   EndlessFile endless(" first second ");
   std::istream file(&endless);
   auto const source = readMultidriveSrc(file);
   EXPECT_EQ(source.pattern, "first");
   EXPECT_FALSE(source.readError);
   EXPECT_LE(endless.given(), 15U);
}

TEST(ApplianceFilesTest, KeepsTheEntriesReadBeforeAReadError) {
   FailingFile failing("a/1 drive b/2 drive2 c/3 dri");
   std::istream file(&failing);
   auto const read = readBlockdev(file);
   EXPECT_EQ(read.entries, (std::vector<Entry>{{"a", "drive", true}, {"b", "drive2", true}}));
   EXPECT_TRUE(read.readError);
}

TEST(ApplianceFilesTest, DistinguishesAReadErrorFromTheEndOfMultidrive) {
   FailingFile failing("one two thr");
   std::istream file(&failing);
   auto const read = readMultidrive(file);
   EXPECT_EQ(read.patterns, (std::vector<std::string>{"one", "two"}));
   EXPECT_TRUE(read.readError);
   FailingFile failingAtOnce("");
   std::istream source(&failingAtOnce);
   auto const sourceRead = readMultidriveSrc(source);
   EXPECT_EQ(sourceRead.pattern, std::nullopt);
   EXPECT_TRUE(sourceRead.readError);
}

TEST(ApplianceFilesTest, ReportsADirectoryAsAReadError) {
   for (int i = 0; i < 3; ++i) {
      std::ifstream directory("/");
      ASSERT_TRUE(directory.is_open());
      EXPECT_TRUE(i == 0   ? readBlockdev(directory).readError
                  : i == 1 ? readMultidrive(directory).readError
                           : readMultidriveSrc(directory).readError);
   }
}

TEST(ApplianceFilesTest, ReportsAFileThatIsNotOpenAsAReadError) {
   std::ifstream missing("/nonexistent/blockdev");
   auto const read = readBlockdev(missing);
   EXPECT_TRUE(read.readError);
   EXPECT_TRUE(read.entries.empty());
}

TEST(ApplianceFilesTest, ReadsAWordOfThePathLimitAndRefusesALongerOne) {
   std::string const longest(ApplianceFileBounds::wordBytes, 'a');
   EXPECT_EQ(multidrive("b " + longest + " c").patterns, (std::vector<std::string>{"b", longest, "c"}));
   auto const tooLong = multidrive("b " + longest + "a c");
   EXPECT_EQ(tooLong.patterns, (std::vector<std::string>{"b"}));
   EXPECT_TRUE(tooLong.readError);
   EXPECT_TRUE(multidriveSrc(longest + "a").readError);
}

TEST(ApplianceFilesTest, ReadsAFileOfTheSizeLimitAndRefusesALargerOne) {
   std::string const blanks(ApplianceFileBounds::fileBytes - 4, ' ');
   EXPECT_FALSE(multidrive(blanks + "last").readError);
   EXPECT_EQ(multidrive(blanks + "last").patterns.size(), 1U);
   EXPECT_TRUE(multidrive(blanks + "last ").readError);
   EXPECT_TRUE(multidrive(blanks + "last2").readError);
}

TEST(ApplianceFilesTest, StopsReadingEndlessFilesAtTheirBounds) {
   for (auto const * piece : {" ", "a", "a ", "a/1 b ", "\n"}) {
      EndlessFile endless(piece);
      std::istream file(&endless);
      auto const read = readBlockdev(file);
      EXPECT_TRUE(read.readError);
      EXPECT_LE(read.entries.size(), ApplianceFileBounds::entries);
      EXPECT_LE(endless.given(), ApplianceFileBounds::fileBytes + 10);
   }
}

TEST(ApplianceFilesTest, ReadsEntriesUpToTheLimitAndRefusesOneMore) {
   std::string text;
   for (std::size_t i = 0; i < ApplianceFileBounds::entries; ++i)
      text += "a ";
   EXPECT_FALSE(multidrive(text).readError);
   EXPECT_EQ(multidrive(text).patterns.size(), ApplianceFileBounds::entries);
   EXPECT_TRUE(multidrive(text + "a").readError);
   EXPECT_EQ(multidrive(text + "a").patterns.size(), ApplianceFileBounds::entries);
   EXPECT_FALSE(blockdev(text + text).readError);
   EXPECT_TRUE(blockdev(text + text + "a a").readError);
}

}  // namespace
}  // namespace StorageDevices
