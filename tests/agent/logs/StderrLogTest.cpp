#include "agent/logs/StderrLog.h"

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

Vorn::TraceHandle traceHandle{"StderrLogTest", true};
constexpr Vorn::LogDescriptor lampOut{"LAMP_OUT", "lamp %s is out", "", "", 4};

class StderrLogTest : public Support::VirtualTimeTest, protected Support::PipedLog {};

TEST_F(StderrLogTest, WritesAMessageAsOneLineWithTimeSeverityAndName) {
   Vorn::LogHandle handle{lampOut, 0, 1.0, 0, 0};
   Vorn::log(handle, "7");
   EXPECT_EQ(written(), "2023-11-14T22:13:20.000Z warning LAMP_OUT: lamp 7 is out\n");
}

TEST_F(StderrLogTest, NamesFacilityLevelAndFunctionOfATrace) {
   VORN_TRACE(traceHandle, 0) << " it went " << 3;
   EXPECT_EQ(written(), "2023-11-14T22:13:20.000Z trace StderrLogTest/0 TestBody: it went 3\n");
}

TEST_F(StderrLogTest, SpellsIllFormedBytesAsTheStateDocumentDoes) {
   Vorn::LogHandle handle{lampOut, 0, 1.0, 0, 0};
   Vorn::log(handle, "\xff\\xff");
   EXPECT_EQ(written(), "2023-11-14T22:13:20.000Z warning LAMP_OUT: lamp \\xff\\x5cxff is out\n");
}

TEST_F(StderrLogTest, KeepsTextsOfDevicesFromForgingALine) {
   Vorn::LogHandle handle{lampOut, 0, 1.0, 0, 0};
   Vorn::log(handle, "1\n2023-11-14T22:13:20.000Z error FORGED: \x1b[2J");
   std::string const text = written();
   EXPECT_EQ(text.find('\n'), text.size() - 1);
   EXPECT_EQ(text.find('\x1b'), std::string::npos);
}

TEST_F(StderrLogTest, BoundsALine) {
   VORN_TRACE(traceHandle, 0) << std::string(4 << 20U, 'x');
   std::string const text = written();
   EXPECT_LE(text.size(), 4096U);
   EXPECT_TRUE(text.ends_with("x…\n"));
}

class Raising : public Pelm::Node {
 public:
   void handleInitialized() { throw std::runtime_error{"a wire is loose"}; }
};

TEST_F(StderrLogTest, NamesTheMachineOfAFailedHandler) {
   EXPECT_TRUE(Vorn::makeMachine<Raising>());
   EXPECT_NE(written().find(
                 "error storagedevices: a handler of (anonymous namespace)::Raising failed: a wire is loose"),
             std::string::npos);
}

TEST_F(StderrLogTest, CountsAndReportsLinesThatAStalledReaderCosts) {
   while (log->dropped() < 10)
      log->notice(6, std::string(1000, 'x'));
   written();
   log->notice(6, "there is room again");
   std::string const text = written();
   EXPECT_NE(text.find("10 lines were dropped"), std::string::npos);
   EXPECT_TRUE(text.ends_with("info storagedevices: there is room again\n"));
}

}  // namespace
