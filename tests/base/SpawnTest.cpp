#include "base/Spawn.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <vector>

#include "tests/support/ProcessState.h"

namespace {

int spawn(pid_t & pid, std::vector<std::string> words, std::array<int, 3> const & streams) {
   return Base::spawn(pid, words.front(), Base::textPointers(words).data(), environ, streams,
                      Base::SpawnAs::likeParent);
}

TEST(SpawnTest, ReplacesAVariableOfTheEnvironmentAndKeepsItsLookalike) {
   Support::EnvironmentSetting const former{"SPAWN_TEST", "former"};
   Support::EnvironmentSetting const lookalike{"SPAWN_TEST_2", "kept"};
   auto const all = Base::environmentWith({{"SPAWN_TEST", "new"}});
   EXPECT_EQ(std::count(all.begin(), all.end(), "SPAWN_TEST=new"), 1);
   EXPECT_EQ(std::count(all.begin(), all.end(), "SPAWN_TEST=former"), 0);
   EXPECT_EQ(std::count(all.begin(), all.end(), "SPAWN_TEST_2=kept"), 1);
}

TEST(SpawnTest, KeepsAStreamThatIsClosedClosed) {
   int const kept = dup(STDIN_FILENO);
   close(STDIN_FILENO);
   pid_t pid = -1;
   int const error = spawn(pid, {"/bin/sh", "-c", "! test -e /proc/self/fd/0"},
                           {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO});
   dup2(kept, STDIN_FILENO);
   close(kept);
   ASSERT_EQ(error, 0);
   int status = -1;
   waitpid(pid, &status, 0);
   EXPECT_EQ(status, 0);
}

TEST(SpawnTest, AnswersTheErrorOfAMissingProgramOrDescriptor) {
   pid_t pid = -1;
   EXPECT_EQ(spawn(pid, {"/nowhere/tool"}, {-1, -1, -1}), ENOENT);
   constexpr int closed = 1000;
   EXPECT_EQ(spawn(pid, {"/bin/true"}, {closed, -1, -1}), EBADF);
}

}  // namespace
