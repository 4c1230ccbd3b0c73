// When the agent has discovery rescan, and what it reports of devices that cannot be classified.
#include <gtest/gtest.h>

#include <cerrno>

#include "StorageDevices/SettledStart.h"
#include "agent/Rescans.h"
#include "agent/documents/MonitorDocument.h"
#include "runtime/Vorn/Shortage.h"
#include "tests/support/DiscoveryTest.h"
#include "tests/support/DocumentText.h"
#include "tests/support/SpawnFailure.h"

namespace {

using namespace StorageDevices::Simulation;
using Agent::Rescans;
using Texts = std::vector<std::string>;

class AgentRescansTest : public Support::DiscoveryTest {
 protected:
   AgentRescansTest() { unit_.blockdevIs({{".*/usb1", "usb1"}}); }

   static Disk stick(char const * name = "sdb", char const * port = "1-1") {
      return usbDisk(name, port, name, "Flash", 31250000);
   }
   void startWithRescans() {
      startAndSettle();
      rescansBegin();
   }
   void rescansBegin() {
      rescans_ = std::make_unique<Rescans>(sm_, [this](int severity, std::string const & text) {
         notices_.push_back(std::to_string(severity) + " " + text);
      });
      traces_.clear();
   }
   void removeWithoutSerial(char const * name) {
      for (char const * property : {"ID_SERIAL", "ID_SERIAL_SHORT"})
         unit_.propertyIs(name, property, "");
      unit_.announce(name, "remove");
   }
   // Not until nothing is left to do: a clock that is always armed again never ends.
   static void handleSome() { Vorn::Host::runFor(0.01); }
   std::ptrdiff_t scans() const { return traces_.count(2, " enumerating devices"); }
   // How many come while that much virtual time passes.
   std::ptrdiff_t scansIn(double seconds) {
      auto const before = scans();
      Vorn::Host::runFor(seconds);
      return scans() - before;
   }
   std::string document() const { return Support::documentText(Agent::discoveryJson(sm_.get())); }

   Texts notices_;
   std::unique_ptr<Rescans> rescans_;
};

TEST_F(AgentRescansTest, RescansOnceAMinute) {
   startWithRescans();
   EXPECT_EQ(scansIn(59), 0);
   EXPECT_EQ(scansIn(2), 1);
   EXPECT_EQ(scansIn(600), 10);
   EXPECT_TRUE(notices_.empty());
}

TEST_F(AgentRescansTest, RescansAtARemovalWithoutSerialAndASecondLater) {
   unit_.add(stick());
   startWithRescans();
   removeWithoutSerial("sdb");
   handleSome();
   EXPECT_EQ(scans(), 1);
   EXPECT_TRUE(has("sdb")) << "its folder is still there";
   unit_.vanish("sdb");
   EXPECT_EQ(scansIn(1), 1);
   EXPECT_FALSE(has("sdb"));
   EXPECT_EQ(scansIn(50), 0);
}

TEST_F(AgentRescansTest, LeavesASecondBetweenRescansInAStormOfRemovals) {
   startWithRescans();
   unit_.add(otherDisk("vdb", "virtual", 1));
   unit_.whenFullIs(&handleSome);
   for (int i = 0; i < 100; ++i)
      unit_.announce("vdb", "remove");
   handleSome();
   EXPECT_EQ(sm_->anonymousRemovalCount(), 100U);
   EXPECT_LE(scansIn(3.5), 4);
}

TEST_F(AgentRescansTest, RescansSoonerWhileADeviceIsUnclassified) {
   unit_.add(stick());
   {
      Support::SpawnFailure const failure{EAGAIN};
      startWithRescans();
      for (double const wait : {1, 2, 4, 8, 16, 32, 60, 60}) {
         EXPECT_EQ(scansIn(wait - 0.5), 0) << wait;
         EXPECT_EQ(scansIn(0.5), 1) << wait;
      }
   }
   EXPECT_EQ(scansIn(60), 1);
   EXPECT_TRUE(has("sdb"));
   EXPECT_EQ(scansIn(59), 0);
   EXPECT_EQ(scansIn(2), 1);
}

TEST_F(AgentRescansTest, RetriesADeviceThatBecomesUnclassifiedLaterInASecond) {
   startWithRescans();
   {
      Support::SpawnFailure const failure{EAGAIN};
      unit_.plug(stick());
      handleSome();
   }
   EXPECT_EQ(scansIn(0.5), 0);
   EXPECT_EQ(scansIn(1), 1);
   EXPECT_TRUE(has("sdb"));
}

TEST_F(AgentRescansTest, ReportsAnUnclassifiedDeviceOnceWithCauseAndRemedy) {
   unit_.add(stick());
   {
      Support::SpawnFailure const failure{EAGAIN};
      startWithRescans();
      Vorn::Host::runFor(10);
      unit_.plug(stick("sdc", "1-2"));
      handleSome();
      Vorn::Host::runFor(10);
   }
   std::string const why = ": not classified: expr cannot be started: " + Vorn::errorAndRemedy(EAGAIN);
   EXPECT_EQ(notices_, (Texts{"3 /dev/sdb" + why, "3 /dev/sdc" + why}));
   notices_.clear();
   Vorn::Host::runFor(60);
   std::string const done = ": the shortage has ended";
   EXPECT_EQ(notices_, (Texts{"6 /dev/sdb" + done, "6 /dev/sdc" + done}));
}

TEST_F(AgentRescansTest, NamesTheLimitOfFilesAsRemedyForScarceDescriptors) {
   {
      Support::DescriptorLimit const limit{0};
      startWithRescans();
   }
   ASSERT_EQ(notices_.size(), 2U);
   EXPECT_EQ(notices_[0],
             "3 " + unit_.etcFolder().string() +
                 ": not classified: the appliance's files cannot be read: " + Vorn::errorAndRemedy(EMFILE));
   EXPECT_EQ(notices_[1],
             "3 udev: not classified: its events cannot be received: " + Vorn::errorAndRemedy(EMFILE));
}

TEST_F(AgentRescansTest, ListsUnclassifiedDevicesInTheDocument) {
   unit_.add(stick());
   {
      Support::SpawnFailure const failure{ENFILE};
      start();
   }
   EXPECT_EQ(document(), R"({"anonymousRemovalCount":0,"unclassifiedDevices":{")" + unit_.sysPath("sdb") +
                             R"(":{"device":"/dev/sdb","attempt":"expr cannot be started",)"
                             R"("error":"Too many open files in system","remedy":"raise fs.file-max )"
                             R"(with sysctl"}}})");
   sm_->rescan();
   removeWithoutSerial("sdb");
   handleSome();
   EXPECT_EQ(document(), R"({"anonymousRemovalCount":1,"unclassifiedDevices":{}})");
}

TEST_F(AgentRescansTest, DelaysChecksThatRunOnceUntilAllIsClassified) {
   unit_.add(stick());
   int starts = 0;
   std::unique_ptr<StorageDevices::SettledStart> settled;
   {
      Support::SpawnFailure const failure{EAGAIN};
      startWithRescans();
      settled = std::make_unique<StorageDevices::SettledStart>(sm_, [&] { ++starts; });
      EXPECT_TRUE(isReady());
      Vorn::Host::runFor(0.5);
      EXPECT_EQ(starts, 0);
   }
   Vorn::Host::runFor(2);
   EXPECT_TRUE(has("sdb"));
   EXPECT_EQ(starts, 1);
}

TEST_F(AgentRescansTest, DoesNothingWithoutDiscovery) {
   rescansBegin();
   EXPECT_EQ(scansIn(600), 0);
   EXPECT_TRUE(notices_.empty());
}

}  // namespace
