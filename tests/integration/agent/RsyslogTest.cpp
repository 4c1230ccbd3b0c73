// The running program beside a real rsyslogd: it brings the kernel's lines, and takes those of the log.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/KernelLineSender.h"
#include "base/UniqueFd.h"
#include "tests/integration/agent/AgentProgramTest.h"
#include "tests/integration/agent/Collector.h"

namespace {

class RsyslogTest : public AgentProgramTest {
 protected:
   RsyslogTest() {
      for (char const * const needed : {"dev", "proc/self", "sys"})
         std::filesystem::create_directories(root + "/" + needed);
      folder.write("root/proc/self/mountinfo", "");
      EXPECT_EQ(mkfifo(kernelLog.c_str(), 0600), 0);
      kernel.reset(open(kernelLog.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
   }

   static constexpr char program[] = "/usr/sbin/rsyslogd";
   static bool isInstalled() { return std::filesystem::exists(program); }

   // The installed example, with the agent's socket.
   std::string example() const {
      constexpr std::string_view path = "/var/run/kernelmessages";
      std::string text = Support::fileContent(DEPLOY_DIR "/rsyslog/storagedevices.conf");
      std::size_t const at = text.find(path);
      EXPECT_NE(at, std::string::npos);
      return at == std::string::npos ? text : text.replace(at, path.size(), kernelSocket);
   }

   void startRsyslog() {
      folder.write("example.conf", example());
      folder.write("rsyslog.conf",
                   "module(load=\"imklog\" LogPath=\"" + kernelLog + "\")\n" +
                       "module(load=\"imuxsock\" SysSock.Use=\"off\")\n" +
                       "input(type=\"imuxsock\" Socket=\"" + root + "/dev/log\")\n" + "include(file=\"" +
                       folder.string() + "/example.conf\")\n" +
                       "template(name=\"shown\" type=\"string\" string=\"%syslogfacility-text%."
                       "%syslogseverity-text% %programname%:%msg%\\n\")\n" +
                       "action(type=\"omfile\" file=\"" + folder.string() + "/lines\" template=\"shown\")\n");
      rsyslogd.emplace(program, std::vector<std::string>{"-n", "-f", folder.string() + "/rsyslog.conf", "-i",
                                                         folder.string() + "/rsyslog.pid"});
   }
   // It traces each line that arrives on its socket.
   void startAgent() {
      config("[log]\ndestination = \"syslog\"\n[trace]\nStorageDevicesErrWatchSm = 7\n");
      start(AGENT_PROGRAM, {{"STORAGEDEVICES_SIMULATED_ROOT", root}});
      ASSERT_TRUE(waitInRealTime([&] { return has("SN-A") && state["internalDevicesReady"].GetBool(); }));
   }
   void kernelLogs(std::string const & line) const {
      ASSERT_EQ(write(kernel.get(), line.data(), line.size()), static_cast<ssize_t>(line.size()));
   }
   bool writes(std::string const & line) {
      return waitInRealTime([&] { return folder.content("lines").find(line) != std::string::npos; });
   }

   std::string const root = folder.string() + "/root";
   std::string const kernelLog = folder.string() + "/kmsg";
   Base::UniqueFd kernel;
   std::optional<Collector> rsyslogd;
};

TEST_F(RsyslogTest, AcceptsTheInstalledExample) {
   if (!isInstalled())
      GTEST_SKIP() << program << " does not exist";
   Output const checked =
       shell("LD_PRELOAD= " + std::string{program} + " -N1 -f " DEPLOY_DIR "/rsyslog/storagedevices.conf");
   EXPECT_EQ(checked.exitCode, 0) << checked.text;
   EXPECT_EQ(checked.text.find("rror"), std::string::npos) << checked.text;
}

TEST_F(RsyslogTest, BringsLinesOfTheKernelAndTakesTheMessageThatTheyCause) {
   if (!isInstalled())
      GTEST_SKIP() << program << " does not exist";
   startRsyslog();
   startAgent();
   kernelLogs("<3>[   12.500000] ata1.00: failed command: READ DMA\n");
   EXPECT_TRUE(writes("kern.err kernel:")) << folder.content("lines");
   EXPECT_TRUE(writes("daemon.err storagedevices: STORAGEDEVICE_IO_ERROR: ")) << folder.content("lines");
}

// Any user can log with the facility of the kernel.
TEST_F(RsyslogTest, BringsNoLinesThatAProgramForges) {
   if (!isInstalled())
      GTEST_SKIP() << program << " does not exist";
   startRsyslog();
   startAgent();
   ASSERT_TRUE(writes("storagedevices:"));
   Base::KernelLineSender{root + "/dev/log"}.send(
       "<3>kernel: [   12.500000] ata1.00: failed command: READ DMA");
   ASSERT_TRUE(writes("kern.err kernel: [   12.500000]")) << folder.content("lines");
   kernelLogs("<6>[   13.000000] a line of the kernel\n");
   std::string const arrived = "receivedkernel: [   1";
   ASSERT_TRUE(writes(arrived + "3.000000] a line of the kernel")) << folder.content("lines");
   EXPECT_EQ(folder.content("lines").find(arrived + "2.500000]"), std::string::npos);
}

}  // namespace
