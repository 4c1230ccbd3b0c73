#include "agent/documents/ReadingsDocument.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <string>

#include "tests/support/DocumentText.h"
#include "tests/support/VirtualTimeTest.h"

namespace Agent {
namespace {

class ReadingsDocumentTest : public Support::VirtualTimeTest {
 protected:
   std::string toolsText() const { return Support::documentText(toolsJson(tools)); }
   std::string readingsText() const {
      return Support::documentText(readingsJson(*entities.devices, readings));
   }

   void end(std::vector<Pelm::String> argv, int exitCode, bool failed, bool timedOut) const {
      auto const run = Pelm::make<Brul::FinishedRun>();
      run->argv = std::move(argv);
      run->exitCode = exitCode;
      run->failed = failed;
      run->timedOut = timedOut;
      run->duration = 0.25;
      tracker->finishedRunIs(run);
   }

   Entities entities;
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
   ToolRuns tools{tracker};
   Readings readings{entities};
};

TEST_F(ReadingsDocumentTest, ShowsARunInNumbersAndWords) {
   end({"smartctl", "-HA", "/dev/sd\xff"}, 8, false, false);
   EXPECT_EQ(toolsText(),
             R"({"runs":1,"failed":0,"timedOut":0,"last":[{"argv":["smartctl","-HA",)"
             R"("/dev/sd\\xff"],"exitCode":8,"meaning":"SMART reports that the disk is failing",)"
             R"("seconds":0.25,"failed":false,"timedOut":false,"time":1700000000.0}]})");
}

TEST_F(ReadingsDocumentTest, ShowsARunWithoutAProgram) {
   end({}, -9, true, true);
   EXPECT_EQ(toolsText(), R"({"runs":1,"failed":1,"timedOut":1,"last":[{"argv":[],"exitCode":-9,)"
                          R"("meaning":"exceeded its time limit","seconds":0.25,"failed":true,)"
                          R"("timedOut":true,"time":1700000000.0}]})");
}

TEST_F(ReadingsDocumentTest, ShowsAReadingWithItsKnownParts) {
   EXPECT_EQ(readingsText(), "{}");
   entities.devices->diskIs("A", EntityMib::StorageType::sataSsd, "/dev/sda", "/mnt/x", "M", "1", false,
                            StorageDevices::ConnectedDisk::BusType::sata, "1", 1);
   EXPECT_EQ(readingsText(), R"({"A":[]})");
   entities.smart->deviceDataIs("A");
   EXPECT_EQ(readingsText(), R"({"A":[{"source":"smartctl"}]})");
   auto & reading = entities.smart->deviceData("A")->reading;
   reading.failureIs("it sleeps");
   std::string const failing = R"("failingSince":1700000000.0,"reason":"it sleeps")";
   EXPECT_EQ(readingsText(), R"({"A":[{"source":"smartctl",)" + failing + "}]}");
   time->jumpBy(60);
   reading.countInc();
   EXPECT_EQ(readingsText(), R"({"A":[{"source":"smartctl","lastGood":1700000060.0}]})");
   time->jumpBy(60);
   reading.failureIs("it sleeps");
   EXPECT_EQ(readingsText(), R"({"A":[{"source":"smartctl","lastGood":1700000060.0,)"
                             R"("failingSince":1700000120.0,"reason":"it sleeps"}]})");
}

}  // namespace
}  // namespace Agent
