#include "agent/logs/StderrSink.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <csignal>
#include <string>

#include "base/UniqueFd.h"
#include "tests/support/TempDir.h"

namespace Agent {
namespace {

using Base::UniqueFd;
using Outcome = LogSink::Outcome;

class StderrSinkTest : public testing::Test {
 protected:
   StderrSinkTest() {
      std::signal(SIGPIPE, SIG_IGN);
      std::array<int, 2> ends{};
      EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
      reader.reset(ends[0]);
      writer.reset(ends[1]);
   }
   ~StderrSinkTest() override { std::signal(SIGPIPE, SIG_DFL); }

   static std::string readFrom(UniqueFd const & fd) {
      std::array<char, 65536> buffer{};
      ssize_t const count = read(fd.get(), buffer.data(), buffer.size());
      return {buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
   }

   UniqueFd reader;
   UniqueFd writer;
};

TEST_F(StderrSinkTest, WritesLinesToAPipeAFileAndASocket) {
   Support::TempDir const folder;
   UniqueFd const file{open((folder.string() + "/log").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600)};
   std::array<int, 2> sockets{};
   ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()), 0);
   UniqueFd const peer{sockets[0]};
   UniqueFd const socket{sockets[1]};
   for (int const fd : {writer.get(), file.get(), socket.get()})
      EXPECT_EQ(StderrSink{fd}.send("a line\n"), Outcome::sent);
   EXPECT_EQ(readFrom(reader), "a line\n");
   EXPECT_EQ(folder.content("log"), "a line\n");
   EXPECT_EQ(readFrom(peer), "a line\n");
}

// The pipe blocks: a write that waited would hang the test.
TEST_F(StderrSinkTest, WaitsForNoReader) {
   StderrSink sink{writer.get()};
   std::string const line(PIPE_BUF, 'x');
   std::size_t written = 0;
   while (sink.send(line) == Outcome::sent)
      written += line.size();
   EXPECT_EQ(sink.send(line), Outcome::full);
   EXPECT_GE(written, 65536U);
   readFrom(reader);
   EXPECT_EQ(sink.send(line), Outcome::sent);
}

TEST_F(StderrSinkTest, WaitsForNoReaderOfASocket) {
   std::array<int, 2> sockets{};
   ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()), 0);
   UniqueFd const peer{sockets[0]};
   UniqueFd const socket{sockets[1]};
   StderrSink sink{socket.get()};
   while (sink.send("a line\n") == Outcome::sent)
      continue;
   EXPECT_EQ(sink.send("a line\n"), Outcome::full);
}

TEST_F(StderrSinkTest, NamesTheReasonWhyNobodyReads) {
   StderrSink sink{writer.get()};
   reader.reset();
   EXPECT_EQ(sink.send("a line\n"), Outcome::absent);
   EXPECT_EQ(sink.absence(), "Broken pipe");
   StderrSink closed{-1};
   EXPECT_EQ(closed.send("a line\n"), Outcome::absent);
   EXPECT_EQ(closed.absence(), "Bad file descriptor");
}

TEST_F(StderrSinkTest, NamesAFullDisk) {
   UniqueFd const full{open("/dev/full", O_WRONLY | O_CLOEXEC)};
   StderrSink sink{full.get()};
   EXPECT_EQ(sink.send("a line\n"), Outcome::absent);
   EXPECT_EQ(sink.absence(), "No space left on device");
}

// A limit of the file's size stands for the end of the disk.
TEST_F(StderrSinkTest, CompletesALineOfWhichThereWasRoomForAPart) {
   std::signal(SIGXFSZ, SIG_IGN);
   Support::TempDir const folder;
   UniqueFd const file{open((folder.string() + "/log").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600)};
   StderrSink sink{file.get()};
   std::string const first = "a line\n";
   rlimit whole{};
   getrlimit(RLIMIT_FSIZE, &whole);
   rlimit const part{2, whole.rlim_max};
   setrlimit(RLIMIT_FSIZE, &part);
   Outcome const begun = sink.send(first);
   Outcome const full = sink.send(first);
   setrlimit(RLIMIT_FSIZE, &whole);
   EXPECT_EQ(begun, Outcome::full);
   EXPECT_EQ(full, Outcome::absent);
   EXPECT_EQ(sink.send(first), Outcome::sent);
   EXPECT_EQ(sink.send("another\n"), Outcome::sent);
   EXPECT_EQ(folder.content("log"), "a line\nanother\n");
   std::signal(SIGXFSZ, SIG_DFL);
}

}  // namespace
}  // namespace Agent
