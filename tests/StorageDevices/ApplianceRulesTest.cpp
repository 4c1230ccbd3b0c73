#include "StorageDevices/ApplianceRules.h"

#include <gtest/gtest.h>

#include "runtime/Vorn/Trace.h"
#include "tests/support/FileCalls.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;

class ApplianceRulesTest : public testing::Test {
 protected:
   // With one file there, of which the first read alone is good.
   ApplianceRules rulesOfBadDisk(char const * name, std::string_view text) const {
      folder_.write("blockdev", "");
      folder_.write(name, text);
      // The empty blockdev takes one more.
      Support::ReadFailure const failure{std::string_view{name} == "blockdev" ? 1U : 2U};
      return readApplianceRules(Pelm::String{folder_.string()}, traceHandle_);
   }

   Support::TempDir folder_;
   Vorn::TraceHandle traceHandle_{"ApplianceRulesTest", true};
   Support::TraceRecorder traces_{{"ApplianceRulesTest", 2}};
};

TEST_F(ApplianceRulesTest, KeepsTheEntriesBeforeAReadErrorAndTracesItLast) {
   auto const rules = rulesOfBadDisk("blockdev", "pci0/1 flash pci1 drive pci2 dri");
   EXPECT_EQ(rules.etcBlockDev, (std::vector<EtcBlockdevEntry>{{"pci0", "flash"}, {"pci1", "drive"}}));
   EXPECT_EQ(traces_.texts(2),
             (Texts{" Whitebox entry detected; modifying", " /etc/blockdev entry: pci0 flash",
                    " /etc/blockdev entry: pci1 drive"}));
   EXPECT_EQ(traces_.errors(), Texts{" error while reading /etc/blockdev"});
   EXPECT_EQ(traces_.lines().back().level, 0);
}

TEST_F(ApplianceRulesTest, KeepsThePatternsBeforeAReadError) {
   auto const rules = rulesOfBadDisk("multidrive", "one two thr");
   EXPECT_EQ(rules.etcMultidrive, (std::vector<Pelm::String>{"one", "two"}));
   EXPECT_EQ(traces_.errors(), Texts{" error while reading /etc/multidrive"});
}

TEST_F(ApplianceRulesTest, AppliesAReadErrorToTheSourceOnlyBeforeTheEndOfItsWord) {
   EXPECT_FALSE(rulesOfBadDisk("multidrive_src", "sour").multidriveSrc.has_value());
   EXPECT_EQ(traces_.errors(), Texts{" error while reading /etc/multidrive_src"});
   traces_.clear();
   EXPECT_EQ(*rulesOfBadDisk("multidrive_src", "source oth").multidriveSrc, "source");
   EXPECT_EQ(traces_.errors(), Texts{});
}

TEST_F(ApplianceRulesTest, TakesNoOverlongWordForTheSource) {
   folder_.write("blockdev", "");
   folder_.write("multidrive_src", std::string(5000, 'x') + " source");
   auto const rules = readApplianceRules(Pelm::String{folder_.string()}, traceHandle_);
   EXPECT_FALSE(rules.multidriveSrc.has_value());
   EXPECT_EQ(traces_.errors().back(), " error while reading /etc/multidrive_src");
}

}  // namespace

}  // namespace StorageDevices
