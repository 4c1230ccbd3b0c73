// `storagedevices check` as a monitoring system runs it.

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <chrono>
#include <string>

#include "tests/integration/agent/AgentProgramTest.h"
#include "tests/support/FakeAgent.h"

namespace {

class CheckProgramTest : public AgentProgramTest {
 protected:
   Output check(std::string const & options = "") const {
      return runProgram("check --socket " + socket + " " + options);
   }
   // Expects only the disk that the unit has.
   void startSettled() {
      config("", "poll_interval = 1\n");
      keyIs("appliance", "expected_mounts = [\"drive\"]");
      unit.fileSystems().mountIs("drive", "sda1");
      start();
      ASSERT_TRUE(waitInRealTime([&] { return has("SN-A") && state["unit"]["verdict"] == "ok"; })) << log;
   }
};

TEST_F(CheckProgramTest, AnswersAsTheAgentsVerdictsAre) {
   startSettled();
   Output const good = check();
   EXPECT_EQ(good.exitCode, 0);
   EXPECT_TRUE(good.text.starts_with("STORAGE OK - SN-A (/dev/sda) ok | 'absent'=0;;0;0 ")) << good.text;
   unit.unplug("sda");
   ASSERT_TRUE(waitInRealTime([&] { return state["unit"]["verdict"] == "absent"; })) << log;
   Output const bad = check();
   EXPECT_EQ(bad.exitCode, 2);
   EXPECT_TRUE(
       bad.text.starts_with("STORAGE CRITICAL - SN-A (/dev/sda) absent: removed; "
                            "/mnt/drive missing: no disk is connected for it | 'absent'=1;;0;0 "))
       << bad.text;
   Output const json = check("--json");
   EXPECT_EQ(json.exitCode, 2);
   rapidjson::Document document;
   document.Parse(json.text.c_str());
   EXPECT_EQ(document["disks"][0]["reasons"][0]["code"], "removed") << json.text;
}

TEST_F(CheckProgramTest, IsUnknownWithoutAnAgent) {
   Output const text = check();
   EXPECT_EQ(text.exitCode, 3);
   EXPECT_TRUE(text.text.starts_with("STORAGE UNKNOWN - " + socket + ": the socket does not exist: "))
       << text.text;
   Output const json = check("--json");
   EXPECT_EQ(json.exitCode, 3);
   EXPECT_TRUE(json.text.starts_with(R"({"status":"UNKNOWN","exitCode":3,"error":")")) << json.text;
}

TEST_F(CheckProgramTest, IsUnknownAfterFiveSecondsOfAnAgentThatDribbles) {
   std::string const path = folder.string() + "/dribbling.sock";
   Support::FakeAgent const dribbling{path, Support::FakeAgent::dribble};
   auto const begin = std::chrono::steady_clock::now();
   Output const text = runProgram("check --socket " + path);
   auto const took = std::chrono::steady_clock::now() - begin;
   EXPECT_EQ(text.exitCode, 3);
   EXPECT_EQ(text.text, "STORAGE UNKNOWN - " + path +
                            ": no complete answer within 5000 ms: the agent is stalled, see its log\n");
   EXPECT_GE(took, std::chrono::milliseconds{4900});
   EXPECT_LT(took, std::chrono::milliseconds{7000});
}

TEST_F(CheckProgramTest, IsUnknownWhereItsLineCannotBeWritten) {
   EXPECT_EQ(runProgram("check --socket " + socket + " > /dev/full").exitCode, 3);
}

TEST_F(CheckProgramTest, IsUnknownForAnAnswerThatIsNoStateDocument) {
   std::string const path = folder.string() + "/other.sock";
   Support::FakeAgent const other{path, Support::FakeAgent::answering([](std::string const & resource) {
                                     return resource == "/api/v1/state?history=0" ? "{}" : "";
                                  })};
   Output const text = runProgram("check --socket " + path);
   EXPECT_EQ(text.exitCode, 3);
   EXPECT_EQ(text.text,
             "STORAGE UNKNOWN - the agent's answer has no verdicts: is it of the same version as this "
             "program?\n");
}

// The line of deploy/cron, with a program of that name that asks the test's agent.
TEST_F(CheckProgramTest, MailsTheTableByCronWhileSomethingIsWrong) {
   startSettled();
   folder.writeScript("storagedevices", std::string{"exec "} + AGENT_PROGRAM + " \"$@\" --socket " + socket);
   std::string job = Support::fileContent(DEPLOY_DIR "/cron/storagedevices");
   job.erase(0, job.find("* root ") + 7);
   std::string const path = "PATH=" + folder.string() + ":$PATH; ";
   EXPECT_EQ(shell(path + job).text, "");
   unit.unplug("sda");
   ASSERT_TRUE(waitInRealTime([&] { return state["unit"]["verdict"] == "absent"; })) << log;
   std::string const mail = shell(path + job).text;
   EXPECT_TRUE(mail.starts_with("storagedevices ") && mail.find("VERDICT") != std::string::npos) << mail;
}

}  // namespace
