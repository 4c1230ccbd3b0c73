// What nvme printed of real drives, through the filter.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <set>
#include <string>
#include <utility>

#include "StorageDevices/NvmeList.h"
#include "nvme-compat/NvmeLayout.h"
#include "tests/StorageDevices/DataFiles.h"
#include "tests/support/Regex.h"

namespace NvmeCompat {
namespace {

namespace TestData = StorageDevices::TestData;

std::string filtered(NvmeCommand command, std::string const & output) {
   Layout const layout = knownLayout(command, output);
   EXPECT_NE(layout.kind, Layout::Kind::error) << output;
   return layout.kind == Layout::Kind::unchanged ? output : layout.text;
}

std::set<std::string> const keysRead{"critical_warning",     "temperature",        "avail_spare",
                                     "spare_thresh",         "percent_used",       "data_units_read",
                                     "data_units_written",   "host_read_commands", "host_write_commands",
                                     "controller_busy_time", "power_cycles",       "power_on_hours",
                                     "unsafe_shutdowns",     "media_errors",       "num_err_log_entries",
                                     "warning_temp_time",    "critical_comp_time"};

// Whether the library finds a number under each of its keys that the log has.
bool isGood(std::string const & log) {
   rapidjson::Document document;
   document.Parse(log.c_str());
   if (!document.IsObject())
      return false;
   for (auto const & member : std::as_const(document).GetObject())
      if (keysRead.count(member.name.GetString()) != 0 && !member.value.IsInt64())
         return false;
   return true;
}

TEST(NvmeCorpusTest, WritesEverySmartLogAsTheLibraryReadsIt) {
   SKIP_WITHOUT_CORPUS();
   auto const files = TestData::corpusFiles("nvme-smart-log-json");
   ASSERT_FALSE(files.empty());
   int rewritten = 0;
   for (auto const & file : files) {
      std::string const log = TestData::contentOf(file);
      std::string const result = filtered(NvmeCommand::smartLog, log);
      EXPECT_TRUE(isGood(result)) << file << "\n" << result;
      EXPECT_EQ(result == log, isGood(log)) << file;
      rewritten += result != log ? 1 : 0;
      EXPECT_EQ(filtered(NvmeCommand::smartLog, result), result) << file;
   }
   EXPECT_GT(rewritten, 0);
}

// All names of namespaces in a list, whatever its layout.
std::set<std::string> namesIn(std::string const & list) {
   static Support::Regex const name{R"re("(?:/dev/)?(nvme[0-9]+n[0-9]+)")re"};
   std::set<std::string> names;
   std::string_view rest = list;
   for (auto match = name.search(rest); !match.empty(); match = name.search(rest)) {
      names.emplace(match[1]);
      rest.remove_prefix(static_cast<std::size_t>(match[0].data() + match[0].size() - rest.data()));
   }
   return names;
}

void expectIdentified(std::string const & list, std::string const & result, std::string const & name) {
   auto const found = StorageDevices::readNvmeList(result, "/dev/" + name);
   ASSERT_EQ(found.outcome, StorageDevices::NvmeList::Outcome::device) << name;
   EXPECT_FALSE(found.device.modelFailed || found.device.serialFailed || found.device.firmwareFailed) << name;
   bool const hasSize = list.find("PhysicalSize") != std::string::npos;
   EXPECT_EQ(found.device.sizeFailed, !hasSize) << name;
   auto const before = StorageDevices::readNvmeList(list, "/dev/" + name);
   if (before.outcome == StorageDevices::NvmeList::Outcome::device && !before.device.sizeFailed) {
      EXPECT_EQ(result, list) << name;
   }
}

TEST(NvmeCorpusTest, IdentifiesEveryDriveOfAList) {
   SKIP_WITHOUT_CORPUS();
   auto const files = TestData::corpusFiles("nvme-list-json");
   ASSERT_FALSE(files.empty());
   int identified = 0;
   int rewritten = 0;
   for (auto const & file : files) {
      SCOPED_TRACE(file);
      std::string const list = TestData::contentOf(file);
      std::string const result = filtered(NvmeCommand::list, list);
      for (std::string const & name : namesIn(list)) {
         ASSERT_NO_FATAL_FAILURE(expectIdentified(list, result, name)) << result;
         ++identified;
      }
      rewritten += result != list ? 1 : 0;
      EXPECT_EQ(filtered(NvmeCommand::list, result), result);
   }
   EXPECT_GT(identified, 20);
   EXPECT_GT(rewritten, 0);
}

}  // namespace
}  // namespace NvmeCompat
