#include "runtime/Vorn/Process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ProcessState.h"
#include "tests/support/TempDir.h"

namespace {

using Vorn::spawnProcess;
using Argv = std::vector<Pelm::String>;

bool isOpen(int fd) {
   return fcntl(fd, F_GETFD) >= 0;
}

struct Ends {
   int reader = -1;
   int writer = -1;
};

Ends makePipe() {
   std::array<int, 2> ends{};
   EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
   return {ends[0], ends[1]};
}

// Everything up to the end of file; closes the descriptor.
std::string readAll(int fd) {
   std::string text;
   std::array<char, 4096> buffer;
   for (ssize_t count = 0; (count = read(fd, buffer.data(), buffer.size())) > 0;)
      text.append(buffer.data(), static_cast<std::size_t>(count));
   close(fd);
   return text;
}

// What a program writes to both its outputs, and how it ended.
std::string outputOf(Argv const & argv, Pelm::String const & searchFirst = {}, int expectedStatus = 0) {
   Ends const ends = makePipe();
   pid_t const pid = spawnProcess(argv, -1, ends.writer, ends.writer, searchFirst);
   EXPECT_GT(pid, 0) << argv.front();
   std::string text = readAll(ends.reader);
   EXPECT_EQ(Brul::waitForProcess(pid), expectedStatus);
   return text;
}

std::string shell(std::string const & script) {
   return outputOf({"sh", "-c", script});
}

TEST(WaitForProcessTest, AnswersTheExitCodeOrMinusTheSignal) {
   auto const run = [](char const * script) {
      return Brul::waitForProcess(spawnProcess({"sh", "-c", script}, -1, -1, -1));
   };
   EXPECT_EQ(run("exit 0"), 0);
   EXPECT_EQ(run("exit 255"), 255);
   EXPECT_EQ(run("kill -9 $$"), -SIGKILL);
   EXPECT_EQ(run("kill -11 $$"), -SIGSEGV);
}

TEST(WaitForProcessTest, RaisesForAProcessThatIsNoChild) {
   EXPECT_EQ(Brul::waitForProcess(getppid()), Brul::waitFailed);
   pid_t const pid = spawnProcess({"true"}, -1, -1, -1);
   EXPECT_EQ(Brul::waitForProcess(pid), 0);
   EXPECT_EQ(Brul::waitForProcess(pid), Brul::waitFailed) << "it has been reaped";
}

TEST(SpawnProcessTest, MatchesLikeExprDoes) {
   auto const expr = [](char const * text, char const * pattern) {
      int const null = open("/dev/null", O_WRONLY | O_CLOEXEC);
      return Brul::waitForProcess(spawnProcess({"expr", "match", text, pattern}, -1, null, null));
   };
   EXPECT_EQ(expr("abc", "a.*"), 0);
   EXPECT_EQ(expr("abc", "b"), 1);
   EXPECT_EQ(expr("abc", "\\("), 2);
}

TEST(SpawnProcessTest, ClosesItsDescriptorsAndIgnoresMinusOne) {
   Ends const ends = makePipe();
   pid_t const pid = spawnProcess(
       {"sh", "-c",
        "for fd in 0 1 2; do test -e /proc/self/fd/$fd && open=$open$fd; done; test \"$open\" = 1"},
       -1, ends.writer, -1);
   EXPECT_FALSE(isOpen(ends.writer));
   EXPECT_EQ(readAll(ends.reader), "");
   EXPECT_EQ(Brul::waitForProcess(pid), 0) << "only its output was open";
}

TEST(SpawnProcessTest, AcceptsOneDescriptorForBothOutputs) {
   EXPECT_EQ(shell("echo out; echo err >&2"), "out\nerr\n");
}

TEST(SpawnProcessTest, ClosesItsDescriptorsAlsoWhenTheProgramCannotBeRun) {
   Ends const ends = makePipe();
   int const null = open("/dev/null", O_RDONLY | O_CLOEXEC);
   EXPECT_EQ(spawnProcess({"no-such-program-here"}, null, ends.writer, ends.writer), -1);
   EXPECT_EQ(errno, ENOENT);
   EXPECT_FALSE(isOpen(null));
   EXPECT_FALSE(isOpen(ends.writer));
   EXPECT_EQ(readAll(ends.reader), "");
}

TEST(SpawnProcessTest, RefusesAFileThatIsNoProgram) {
   Support::TempDir const folder;
   std::string const plain = folder.write("plain", "#!/bin/sh\ntrue\n");
   for (auto const & [name, error] : std::vector<std::pair<std::string, int>>{
            {"", ENOENT}, {"/no/such/program", ENOENT}, {plain, EACCES}, {folder.string(), EACCES}}) {
      EXPECT_EQ(spawnProcess({Pelm::String{name}}, -1, -1, -1), -1) << name;
      EXPECT_EQ(errno, error) << name;
   }
   EXPECT_EQ(spawnProcess({}, -1, -1, -1), -1);
   EXPECT_EQ(errno, ENOENT);
}

TEST(SpawnProcessTest, SearchesItsOwnFoldersFirstAndPassesThemToTheChild) {
   Support::TempDir const first;
   Support::TempDir const second;
   first.write("expr", "#!/bin/sh\necho mine\n");
   std::filesystem::create_directory(first.path() / "true");
   second.writeScript("expr", "echo \"other $PATH\"");
   Pelm::String const both{first.string() + ':' + second.string()};
   Support::EnvironmentSetting const path{"PATH", "/usr/bin:/bin"};
   EXPECT_EQ(outputOf({"expr"}, both), "other " + both.str() + ":/usr/bin:/bin\n")
       << "one that may not be executed is passed over";
   EXPECT_EQ(outputOf({"true"}, both), "") << "so is a folder of that name";
   EXPECT_EQ(outputOf({"expr", "1", "+", "1"}), "2\n");
}

TEST(SpawnProcessTest, RunsNothingFromTheWorkingFolder) {
   Support::TempDir const folder;
   folder.writeScript("planted", "echo bad");
   auto const before = std::filesystem::current_path();
   std::filesystem::current_path(folder.path());
   {
      Support::EnvironmentSetting const path{"PATH", ".::/bin:"};
      EXPECT_EQ(spawnProcess({"planted"}, -1, -1, -1, "."), -1);
      EXPECT_EQ(errno, ENOENT);
   }
   std::filesystem::current_path(before);
}

TEST(SpawnProcessTest, SetsTheCLocaleAndKeepsTheRestOfTheEnvironment) {
   Support::EnvironmentSetting const locale{"LC_ALL", "de_DE.UTF-8"};
   Support::EnvironmentSetting const lookalike{"LC_ALLOY", "kept"};
   Support::EnvironmentSetting const other{"RUNTIME_TEST", "a b=c"};
   EXPECT_EQ(shell("env | grep -c ^LC_ALL="), "1\n");
   EXPECT_EQ(shell("echo $LC_ALL $LC_ALLOY; echo $RUNTIME_TEST"), "C kept\na b=c\n");
}

TEST(SpawnProcessTest, PassesTheChildNoOtherDescriptor) {
   int const low = open("/dev/null", O_RDONLY);  // deliberately without close-on-exec
   int const high = dup2(low, 517);
   EXPECT_EQ(shell("for fd in $(seq 3 600); do test -e /proc/self/fd/$fd && echo $fd; done; true"), "");
   close(low);
   close(high);
}

TEST(SpawnProcessTest, GivesTheChildDefaultSignalsAnEmptyMaskAndItsOwnGroup) {
   auto * const pipeBefore = std::signal(SIGPIPE, SIG_IGN);
   sigset_t blocked;
   sigset_t before;
   sigemptyset(&blocked);
   sigaddset(&blocked, SIGTERM);
   sigaddset(&blocked, SIGUSR1);
   sigprocmask(SIG_BLOCK, &blocked, &before);
   std::string const blockedSignals = outputOf({"sed", "-n", "s/^SigBlk:.//p", "/proc/self/status"});
   std::string const ignoredSignals = outputOf({"sed", "-n", "s/^SigIgn:.//p", "/proc/self/status"});
   std::string const group = outputOf({"sh", "-c", "test $(cut -d' ' -f5 /proc/$$/stat) = $$ && echo own"});
   sigprocmask(SIG_SETMASK, &before, nullptr);
   std::signal(SIGPIPE, pipeBefore);
   EXPECT_EQ(blockedSignals, "0000000000000000\n");
   constexpr unsigned long long ofTheThreadLibrary = 3ULL << 31U;  // 32 and 33, which no program sees
   EXPECT_EQ(std::stoull(ignoredSignals, nullptr, 16) & ~ofTheThreadLibrary, 0U);
   EXPECT_EQ(group, "own\n");
}

class SpawnProcessDeathTest : public testing::Test {
 protected:
   SpawnProcessDeathTest() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

// With its own standard descriptors closed, a host's pipes get their numbers.
[[noreturn]] void runWithLowDescriptors() {
   for (int fd = 0; fd < 3; ++fd)
      close(fd);
   Ends const ends = makePipe();                               // 0 and 1
   int const input = open("/dev/null", O_RDONLY | O_CLOEXEC);  // 2
   bool const low = ends.reader == 0 && ends.writer == 1 && input == 2;
   pid_t const pid =
       spawnProcess({"sh", "-c", "cat; echo out; echo err >&2"}, input, ends.writer, ends.writer);
   bool const closed = !isOpen(1) && !isOpen(2) && isOpen(0);
   bool const text = readAll(ends.reader) == "out\nerr\n";
   bool const ended = Brul::waitForProcess(pid) == 0;
   _exit(low && closed && text && ended ? 0 : 1);
}

TEST_F(SpawnProcessDeathTest, PlacesDescriptorsThatHaveTheNumbersOfItsTargets) {
   EXPECT_EXIT(runWithLowDescriptors(), testing::ExitedWithCode(0), "");
}

// The child's output is our standard input and the other way round.
[[noreturn]] void runWithSwappedDescriptors() {
   Ends const ends = makePipe();
   dup2(ends.writer, 0);
   close(ends.writer);
   int const null = open("/dev/null", O_RDONLY | O_CLOEXEC);
   dup2(null, 1);
   pid_t const pid = spawnProcess({"sh", "-c", "cat; echo out"}, 1, 0, -1);
   bool const text = readAll(ends.reader) == "out\n";
   _exit(text && !isOpen(0) && !isOpen(1) && Brul::waitForProcess(pid) == 0 ? 0 : 1);
}

TEST_F(SpawnProcessDeathTest, SwapsDescriptorsWithoutLosingOne) {
   EXPECT_EXIT(runWithSwappedDescriptors(), testing::ExitedWithCode(0), "");
}

[[noreturn]] void runWithoutEnvironment() {
   clearenv();
   int const status = Brul::waitForProcess(spawnProcess({"sh", "-c", "test \"$LC_ALL\" = C"}, -1, -1, -1));
   _exit(status == 0 ? 0 : 1);
}

TEST_F(SpawnProcessDeathTest, FindsProgramsWithoutAnyEnvironment) {
   EXPECT_EXIT(runWithoutEnvironment(), testing::ExitedWithCode(0), "");
}

}  // namespace
