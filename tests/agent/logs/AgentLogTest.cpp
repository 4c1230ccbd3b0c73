#include "agent/logs/AgentLog.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "runtime/Pelm/Node.h"
#include "runtime/Vorn/Log.h"
#include "runtime/Vorn/Machine.h"
#include "runtime/Vorn/Trace.h"
#include "tests/support/PipedLog.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

Vorn::TraceHandle traceHandle{"AgentLogTest", true};
constexpr Vorn::LogDescriptor lampOut{"LAMP_OUT", "lamp %s is out", "", "", 4};

class AgentLogTest : public Support::VirtualTimeTest, protected Support::PipedLog {};

TEST_F(AgentLogTest, WritesAMessageAsOneLineWithTimeSeverityAndName) {
   Vorn::LogHandle handle{lampOut, 0, 1.0, 0, 0};
   Vorn::log(handle, "7");
   EXPECT_EQ(written(), "2023-11-14T22:13:20.000Z warning LAMP_OUT: lamp 7 is out\n");
}

TEST_F(AgentLogTest, NamesFacilityLevelAndFunctionOfATrace) {
   VORN_TRACE(traceHandle, 0) << " it went " << 3;
   EXPECT_EQ(written(), "2023-11-14T22:13:20.000Z trace AgentLogTest/0 TestBody: it went 3\n");
}

TEST_F(AgentLogTest, SpellsIllFormedBytesAsTheStateDocumentDoes) {
   Vorn::LogHandle handle{lampOut, 0, 1.0, 0, 0};
   Vorn::log(handle, "\xff\\xff");
   EXPECT_EQ(written(), "2023-11-14T22:13:20.000Z warning LAMP_OUT: lamp \\xff\\x5cxff is out\n");
}

TEST_F(AgentLogTest, KeepsTextsOfDevicesFromForgingALine) {
   Vorn::LogHandle handle{lampOut, 0, 1.0, 0, 0};
   Vorn::log(handle, "1\n2023-11-14T22:13:20.000Z error FORGED: \x1b[2J");
   std::string const text = written();
   EXPECT_EQ(text.find('\n'), text.size() - 1);
   EXPECT_EQ(text.find('\x1b'), std::string::npos);
}

TEST_F(AgentLogTest, BoundsALine) {
   VORN_TRACE(traceHandle, 0) << std::string(4 << 20U, 'x');
   std::string const text = written();
   EXPECT_LE(text.size(), 4096U);
   EXPECT_TRUE(text.ends_with("x…\n"));
}

class Raising : public Pelm::Node {
 public:
   void handleInitialized() { throw std::runtime_error{"a wire is loose"}; }
};

TEST_F(AgentLogTest, NamesTheMachineOfAFailedHandler) {
   EXPECT_TRUE(Vorn::makeMachine<Raising>());
   EXPECT_NE(written().find(
                 "error storagedevices: a handler of (anonymous namespace)::Raising failed: a wire is loose"),
             std::string::npos);
}

TEST_F(AgentLogTest, CountsAndReportsLinesThatAStalledReaderCosts) {
   while (log->dropped() < 10)
      log->notice(6, std::string(1000, 'x'));
   std::string const text = written();
   EXPECT_TRUE(
       text.ends_with(" warning storagedevices: 10 lines were dropped because standard error did not accept "
                      "them in time\n"))
       << text.substr(text.rfind('\n', text.size() - 2) + 1);
   log->notice(6, "there is room again");
   EXPECT_TRUE(written().ends_with("Z info storagedevices: there is room again\n"));
   EXPECT_EQ(log->dropped(), 10U);
}

}  // namespace
