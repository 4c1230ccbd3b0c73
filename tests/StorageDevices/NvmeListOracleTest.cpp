// The reading of device lists against a naive one, on random lists, on damaged ones and on those of real
// disks.
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <random>

#include "DataFiles.h"
#include "NaiveJson.h"
#include "StorageDevices/NvmeList.h"

namespace StorageDevices {
namespace {

using Outcome = NvmeList::Outcome;

#ifdef STORAGEDEVICES_SANITIZED
constexpr int listRuns = 2'000;
#else
constexpr int listRuns = 40'000;
#endif

bool isString(NaiveJson::Value const * value) {
   return value != nullptr && value->kind == '"';
}

// Reads a member's text, or notes that it is missing.
void naiveText(NaiveJson::Value const & device, std::string const & name, std::string & text, bool & failed) {
   auto const * value = device.member(name);
   failed = !isString(value);
   if (!failed)
      text = value->text;
}

void naiveSize(NaiveJson::Value const & device, NvmeListDevice & result) {
   auto const * value = device.member("PhysicalSize");
   result.sizeFailed = true;
   if (value == nullptr || value->kind != '0')
      return;
   std::string const text = value->text == "-0" ? "0" : value->text;  // the parser knows no negative zero
   bool const isTooLong = text.size() > 20 || (text.size() == 20 && text > "18446744073709551615");
   if (text.find_first_not_of("0123456789") != std::string::npos || isTooLong)
      return;
   std::uint64_t const bytes = std::stoull(text);
   std::uint64_t const size = bytes / 1'000'000'000 + (bytes % 1'000'000'000 >= 500'000'000 ? 1 : 0);
   if (size > UINT32_MAX)
      return;
   result.sizeGb = static_cast<std::uint32_t>(size);
   result.sizeFailed = false;
}

NvmeListDevice naiveDevice(NaiveJson::Value const & device) {
   NvmeListDevice result;
   naiveText(device, "ModelNumber", result.model, result.modelFailed);
   naiveText(device, "SerialNumber", result.serial, result.serialFailed);
   while (!result.serial.empty() &&
          std::string(" \t\n\v\f\r").find(result.serial.front()) != std::string::npos)
      result.serial.erase(0, 1);
   naiveText(device, "Firmware", result.firmware, result.firmwareFailed);
   naiveSize(device, result);
   return result;
}

// What a list says that is known to be JSON.
NvmeList naiveList(std::string const & output, std::string const & path) {
   NvmeList list;
   auto const root = NaiveJson::Reader(output).value();
   if (root.kind != '{') {
      list.outcome = Outcome::malformedRoot;
      return list;
   }
   auto const * devices = root.member("Devices");
   list.outcome = devices != nullptr && devices->kind == '[' ? Outcome::malformedList : Outcome::noDevices;
   if (list.outcome == Outcome::noDevices)
      return list;
   for (auto const & device : devices->elements) {
      if (device.kind != '{')
         return list;
      auto const * devicePath = device.member("DevicePath");
      if (!isString(devicePath) || devicePath->text != path)
         continue;
      list.outcome = Outcome::device;
      list.device = naiveDevice(device);
      return list;
   }
   return list;
}

void expectNaiveReading(std::string const & output, std::string const & path) {
   rapidjson::Document plain;
   plain.Parse(output.c_str());
   auto const list = readNvmeList(output, path);
   if (plain.HasParseError()) {
      ASSERT_EQ(list.outcome, Outcome::jsonError) << output;
      ASSERT_EQ(list.jsonError, rapidjson::GetParseError_En(plain.GetParseError())) << output;
      return;
   }
   auto const expected = naiveList(output.substr(0, output.find('\0')), path);
   ASSERT_EQ(list.outcome, expected.outcome) << output;
   ASSERT_EQ(list.device.model, expected.device.model) << output;
   ASSERT_EQ(list.device.serial, expected.device.serial) << output;
   ASSERT_EQ(list.device.firmware, expected.device.firmware) << output;
   ASSERT_EQ(list.device.sizeGb, expected.device.sizeGb) << output;
   ASSERT_EQ(list.device, expected.device) << output;
}

// Makes lists that are mostly as the tool prints them.
class ListMaker {
 public:
   std::string list() {
      std::string devices;
      for (unsigned count = below(5); count > 0; --count)
         devices += (devices.empty() ? "" : ",") + space() + (below(20) == 0 ? scalar() : device());
      devices = "[" + devices + space() + "]";
      unsigned const kind = below(20);
      if (kind == 0)
         return devices;
      if (kind == 1)
         return "{" + member("Devices", scalar()) + "}";
      std::string const before = below(4) == 0 ? member("Other", scalar()) + "," : "";
      std::string const after = below(4) == 0 ? "," + member("Devices", scalar()) : "";
      return "{" + before + member(kind == 2 ? "devices" : "Devices", devices) + after + "}" + space();
   }

   std::string damaged() {
      std::string text = list();
      for (unsigned changes = 1 + below(2); changes > 0 && !text.empty(); --changes) {
         char const piece = "{}[]\",:0-. x\x80"[below(13)];
         text.replace(below(static_cast<unsigned>(text.size())), below(3), below(3), piece);
      }
      return text.substr(0,
                         below(4) == 0 ? below(static_cast<unsigned>(text.size()) + 1) : std::string::npos);
   }

 private:
   unsigned below(unsigned bound) { return static_cast<unsigned>(random_() % bound); }

   std::string space() { return std::vector<std::string>{"", "", " ", "\n  ", "\t", "\r\n"}[below(6)]; }

   std::string member(std::string const & name, std::string const & value) {
      return space() + "\"" + name + "\"" + space() + ":" + space() + value;
   }

   std::string scalar() {
      static std::vector<std::string> const values{"null",
                                                   "true",
                                                   "1",
                                                   "-0",
                                                   "-1",
                                                   "1.5",
                                                   "0",
                                                   "499999999",
                                                   "500000000",
                                                   "480103981056",
                                                   "4294967295499999999",
                                                   "4294967295500000000",
                                                   "18446744073709551615",
                                                   "18446744073709551616",
                                                   "1e9",
                                                   R"("480103981056")",
                                                   "[]",
                                                   "{}",
                                                   R"([{"DevicePath":"/dev/nvme0n1"}])",
                                                   R"("")",
                                                   R"("   S1 ")",
                                                   R"(" \t\n\u000b\fS2")",
                                                   R"("\u0000S3")",
                                                   R"("\u00e9\ud83d\ude00\/\\\"")",
                                                   "\"\xC3\xA9\"",
                                                   R"("/dev/nvme0n1")"};
      return values[below(static_cast<unsigned>(values.size()))];
   }

   std::string device() {
      static std::vector<std::string> const names{"ModelNumber", "SerialNumber", "Firmware", "PhysicalSize",
                                                  "DevicePath",  "NameSpace",    "UsedBytes"};
      static std::vector<std::string> const paths{R"("/dev/nvme0n1")", R"("\/dev\/nvme\u0030n1")",
                                                  R"("/dev/nvme1n1")", R"("/dev/nvme0n1p1")",
                                                  R"("/dev/nvme0n1\u0000")"};
      std::string members;
      for (unsigned count = below(7); count > 0; --count)
         members += member(names[below(7)], scalar()) + ",";
      return "{" + members + member("DevicePath", below(8) == 0 ? scalar() : paths[below(5)]) + "}";
   }

   std::mt19937 random_{31};
};

TEST(NvmeListOracleTest, ReadsRandomListsAsANaiveReaderDoes) {
   ListMaker maker;
   int found = 0;
   for (int i = 0; i < listRuns; ++i) {
      std::string const output = maker.list();
      ASSERT_NO_FATAL_FAILURE(expectNaiveReading(output, "/dev/nvme0n1"));
      found += readNvmeList(output, "/dev/nvme0n1").outcome == Outcome::device ? 1 : 0;
   }
   EXPECT_GT(found, listRuns / 5);
   EXPECT_LT(found, listRuns - listRuns / 5);
}

TEST(NvmeListOracleTest, ReadsDamagedListsAsANaiveReaderDoes) {
   ListMaker maker;
   int errors = 0;
   for (int i = 0; i < listRuns; ++i) {
      std::string const output = maker.damaged();
      ASSERT_NO_FATAL_FAILURE(expectNaiveReading(output, "/dev/nvme0n1"));
      errors += readNvmeList(output, "/dev/nvme0n1").outcome == Outcome::jsonError ? 1 : 0;
   }
   EXPECT_GT(errors, listRuns / 5);
   EXPECT_LT(errors, listRuns - listRuns / 20);
}

TEST(NvmeListOracleTest, ReadsTheListsOfRealDisksAsANaiveReaderDoes) {
   SKIP_WITHOUT_CORPUS();
   auto const files = TestData::corpusFiles("nvme-list-json");
   ASSERT_FALSE(files.empty());
   int found = 0;
   for (auto const & file : files) {
      std::string const output = TestData::contentOf(file);
      EXPECT_NE(readNvmeList(output, "").outcome, Outcome::jsonError) << file;
      for (auto const * path :
           {"/dev/nvme0n1", "/dev/nvme0n2", "/dev/nvme1n1", "/dev/nvme1n2", "/dev/nvme9n1", ""}) {
         ASSERT_NO_FATAL_FAILURE(expectNaiveReading(output, path)) << file;
         found += readNvmeList(output, path).outcome == Outcome::device ? 1 : 0;
      }
   }
   EXPECT_GT(found, 0);
}

}  // namespace
}  // namespace StorageDevices
