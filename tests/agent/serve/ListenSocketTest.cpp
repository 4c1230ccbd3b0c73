#include "agent/serve/ListenSocket.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/UnixAddress.h"
#include "tests/support/HttpExchange.h"
#include "tests/support/TempDir.h"

namespace {

// What somebody does to the path at the moment in which a socket was bound to it.
std::function<void()> afterBind;

}  // namespace

// In the place of the C library's.
extern "C" int bind(int fd, sockaddr const * address, socklen_t size) {
   long const result = syscall(SYS_bind, fd, address, size);
   if (afterBind)
      std::exchange(afterBind, nullptr)();
   return static_cast<int>(result);
}

namespace {

using Agent::ListenSocket;
using Base::SocketError;

struct stat statusOf(std::string const & path) {
   struct stat status {};
   EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
   return status;
}

unsigned modeOf(std::string const & path) {
   return statusOf(path).st_mode & 07777U;
}

std::string ownGroup() {
   return getgrgid(getegid())->gr_name;
}

std::string errorOf(std::string const & path, std::string const & group = {}) {
   try {
      ListenSocket::atPath(path, group);
   } catch (std::exception const & error) {
      return error.what();
   }
   return "no error";
}

int datagramSocketAt(std::string const & path) {
   Base::UnixAddress const address{path};
   int const fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   EXPECT_EQ(bind(fd, address.get(), address.size()), 0);
   return fd;
}

class ListenSocketTest : public testing::Test {
 protected:
   Support::TempDir folder;
   std::string path = folder.string() + "/a/b/status.sock";
};

TEST_F(ListenSocketTest, MakesItsFoldersAndIsOpenToItsUserAlone) {
   ListenSocket const socket = ListenSocket::atPath(path);
   EXPECT_EQ(modeOf(path), 0600U);
   EXPECT_TRUE((Support::HttpExchange{path, ""}.connected()));
}

TEST_F(ListenSocketTest, IsOpenToItsGroupToo) {
   ListenSocket const socket = ListenSocket::atPath(path, ownGroup());
   EXPECT_EQ(modeOf(path), 0660U);
   EXPECT_EQ(statusOf(path).st_gid, getegid());
}

TEST_F(ListenSocketTest, GivesItsSocketAloneToTheGroup) {
   if (geteuid() != 0)
      GTEST_SKIP() << "only root may give files to other groups";
   ListenSocket const socket = ListenSocket::atPath(path, "daemon");
   EXPECT_EQ(statusOf(path).st_gid, getgrnam("daemon")->gr_gid);
   EXPECT_EQ(statusOf(folder.write("later", "")).st_gid, getegid());
}

TEST_F(ListenSocketTest, NamesAGroupThatDoesNotExist) {
   EXPECT_EQ(errorOf(path, "no-such-group"),
             "status.socket_group: there is no group no-such-group; create it, or name another one");
   EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(ListenSocketTest, HasItsModeWhateverTheUmask) {
   for (mode_t const mask : {0777U, 0U}) {
      mode_t const before = umask(mask);
      ListenSocket const owners = ListenSocket::atPath(folder.string() + "/owner");
      ListenSocket const groups = ListenSocket::atPath(folder.string() + "/group", ownGroup());
      EXPECT_EQ(umask(before), mask);
      EXPECT_EQ(modeOf(folder.string() + "/owner"), 0600U);
      EXPECT_EQ(modeOf(folder.string() + "/group"), 0660U);
   }
}

TEST_F(ListenSocketTest, LeavesALinkPlantedInItsPlaceAndDoesNotFollowIt) {
   std::string const victim = folder.write("shadow", "secret").string();
   ASSERT_EQ(chmod(victim.c_str(), 0600), 0);
   afterBind = [&] {
      std::filesystem::remove(path);
      std::filesystem::create_symlink(victim, path);
   };
   { ListenSocket const socket = ListenSocket::atPath(path); }
   struct stat status {};
   ASSERT_EQ(stat(victim.c_str(), &status), 0);
   EXPECT_EQ(status.st_mode & 07777U, 0600U);
   EXPECT_TRUE(std::filesystem::is_symlink(path));
}

TEST_F(ListenSocketTest, LetsAHundredClientsWait) {
   ListenSocket const listening = ListenSocket::atPath(path);
   Base::UnixAddress const address{path};
   std::vector<int> waiting;
   for (int i = 0; i < 100; ++i) {
      waiting.push_back(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
      EXPECT_EQ(connect(waiting.back(), address.get(), address.size()), 0) << i;
   }
   for (int const fd : waiting)
      close(fd);
}

TEST_F(ListenSocketTest, RemovesItsFileAtItsEnd) {
   std::optional<ListenSocket> socket{ListenSocket::atPath(path)};
   socket.reset();
   EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(ListenSocketTest, ReplacesAFileLeftBehind) {
   std::filesystem::path const saved = folder.path() / "saved";
   {
      ListenSocket const dead = ListenSocket::atPath(path);
      std::filesystem::rename(path, saved);
   }
   std::filesystem::rename(saved, path);
   ListenSocket const socket = ListenSocket::atPath(path);
   EXPECT_TRUE((Support::HttpExchange{path, ""}.connected()));
}

TEST_F(ListenSocketTest, LeavesARunningAgentAlone) {
   ListenSocket const running = ListenSocket::atPath(path);
   EXPECT_EQ(errorOf(path),
             path + ": another program uses it; stop that first or set status.socket elsewhere");
   EXPECT_TRUE((Support::HttpExchange{path, ""}.connected()));
}

TEST_F(ListenSocketTest, LeavesASocketOfAnotherKindAlone) {
   std::string const datagrams = folder.string() + "/log";
   int const fd = datagramSocketAt(datagrams);
   EXPECT_NE(errorOf(datagrams), "no error");
   EXPECT_TRUE(std::filesystem::exists(datagrams));
   close(fd);
}

TEST_F(ListenSocketTest, LeavesAFileThatIsNoSocketAlone) {
   std::string const file = folder.write("status.sock", "precious").string();
   EXPECT_EQ(errorOf(file), file + ": exists and is not a socket; remove it or set status.socket elsewhere");
   EXPECT_EQ(folder.content("status.sock"), "precious");
}

TEST_F(ListenSocketTest, ReplacesADatagramSocketThatNobodyReads) {
   std::string const datagrams = folder.string() + "/kernel";
   int const fd = datagramSocketAt(datagrams);
   auto const clear = [&] { Base::clearSocketPath(datagrams, SOCK_DGRAM, "a.key"); };
   EXPECT_THROW(clear(), SocketError);
   EXPECT_TRUE(std::filesystem::exists(datagrams));
   close(fd);
   clear();
   EXPECT_FALSE(std::filesystem::exists(datagrams));
   clear();
}

TEST_F(ListenSocketTest, KeepsAFileThatSomebodyElseMadeMeanwhile) {
   std::optional<ListenSocket> socket{ListenSocket::atPath(path)};
   std::filesystem::remove(path);
   ListenSocket const successor = ListenSocket::atPath(path);
   socket.reset();
   EXPECT_TRUE((Support::HttpExchange{path, ""}.connected()));
}

TEST_F(ListenSocketTest, RefusesImpossiblePaths) {
   std::string const tooLong = "/" + std::string(120, 'x');
   EXPECT_EQ(errorOf(tooLong), tooLong + ": is too long for a socket's path");
   std::string const below = folder.write("file", "").string() + "/status.sock";
   EXPECT_EQ(errorOf(below), below +
                                 ": cannot make its directory: Not a directory; run as root or set "
                                 "status.socket elsewhere");
}

TEST_F(ListenSocketTest, ListensOnTcp) {
   ListenSocket const first = ListenSocket::atAddress(*Base::parseHttpAddress("127.0.0.1:29634"));
   EXPECT_GE(first.fd(), 0);
   EXPECT_THROW(ListenSocket::atAddress(*Base::parseHttpAddress("127.0.0.1:29634")), SocketError);
}

}  // namespace
