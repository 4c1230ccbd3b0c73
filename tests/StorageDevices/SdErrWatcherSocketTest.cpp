// The socket of the watch: where it is made, who may use it, and its end.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>

#include "runtime/host/Failure.h"
#include "tests/StorageDevices/SdErrWatcherSmTest.h"
#include "tests/support/ProcessState.h"

namespace {

socklen_t boundLength = 0;

}  // namespace

// In the place of the C library's for this program.
extern "C" int bind(int fd, sockaddr const * address, socklen_t length) noexcept {
   boundLength = length;
   return static_cast<int>(syscall(SYS_bind, fd, address, length));
}

namespace StorageDevices {

namespace {

TEST_F(SdErrWatcherSmTest, BindsWithTheWholeAddress) {
   start();
   EXPECT_EQ(boundLength, sizeof(sockaddr_un));
}

TEST_F(SdErrWatcherSmTest, TracesTheClosingOfItsSocketBeforeItsRemoval) {
   start();
   int const fd = watcher_->kMsgSockFd();
   Texts seen;
   Vorn::Host::traceSinkIs([&](Vorn::Host::TraceLine const & trace) {
      bool const open = fcntl(fd, F_GETFD) >= 0;
      bool const there = std::filesystem::exists(path_);
      seen.push_back(trace.text + (open ? ", open" : "") + (there ? ", there" : ""));
   });
   watcher_->handleDestruction();
   Vorn::Host::traceSinkIs(nullptr);
   EXPECT_EQ(seen, (Texts{" close socket, open, there", " unlink, there"}));
   EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(SdErrWatcherSmTest, RestrictsItsSocketToItsUserWhateverTheMask) {
   mode_t const before = umask(0);
   start();
   EXPECT_EQ(umask(before), 0U) << "the process's mask is not its own to change";
   struct stat status {};
   ASSERT_EQ(stat(path_.c_str(), &status), 0);
   EXPECT_TRUE(S_ISSOCK(status.st_mode));
   EXPECT_EQ(status.st_mode & 0777U, 0600U);
   EXPECT_TRUE(watcher_->initialized());
   EXPECT_EQ(traces_.texts(1), Texts{"Socket opened path" + path_});
}

TEST_F(SdErrWatcherSmTest, DoesNotPassItsSocketToChildren) {
   start();
   EXPECT_EQ(fcntl(watcher_->kMsgSockFd(), F_GETFD), FD_CLOEXEC);
}

TEST_F(SdErrWatcherSmTest, IsDestroyedOnce) {
   start();
   watcher_->handleDestruction();
   EXPECT_EQ(watcher_->kMsgSockFd(), -1);
   folder_.write("kernelmessages", "somebody else's");
   watcher_ = nullptr;
   EXPECT_EQ(folder_.content("kernelmessages"), "somebody else's");
   EXPECT_EQ(traces_.count(2, " close socket"), 1);
}

TEST_F(SdErrWatcherSmTest, CutsAPathToTheLengthOfAnAddress) {
   constexpr std::size_t most = 107;
   std::string const longest = path_ + std::string(most - path_.size(), 'x');
   for (std::string const & path : {longest, longest + "yz"}) {
      path_ = path;
      start();
      EXPECT_TRUE(std::filesystem::exists(longest));
      watcher_ = nullptr;
      EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
   }
}

TEST_F(SdErrWatcherSmTest, ReplacesAStaleFileAndRemovesItsSocketAtTheEnd) {
   folder_.write("kernelmessages", "stale");
   auto const before = Support::openDescriptors();
   start();
   line("ata2: hard resetting link");
   EXPECT_EQ(logs_.messages().size(), 1U);
   watcher_ = nullptr;
   EXPECT_FALSE(std::filesystem::exists(path_));
   EXPECT_EQ(Support::openDescriptors(), before);
   EXPECT_EQ(traces_.count(2, " close socket"), 1);
   EXPECT_EQ(traces_.count(2, " unlink"), 1);
}

class SdErrWatcherSocketTest : public SdErrWatcherSmTest {
 protected:
   SdErrWatcherSocketTest() {
      Vorn::Host::failureSinkIs(
          [this](std::string_view, std::string_view what) { failures_.emplace_back(what); });
   }
   ~SdErrWatcherSocketTest() override { Vorn::Host::failureSinkIs(nullptr); }
   Texts failures_;
};

TEST_F(SdErrWatcherSocketTest, NamesAMissingFolderAsAFailureOfItsOwn) {
   path_ = folder_.string() + "/missing/socket";
   auto const before = Support::openDescriptors();
   start();
   EXPECT_EQ(failures_, Texts{"binding to dgram socket"});
   ASSERT_TRUE(watcher_);
   DiskFields{.name = "LATER"}.writeTo(*devices_);
   EXPECT_TRUE(info_->fsList.empty()) << "it does nothing at all";
   EXPECT_FALSE(watcher_->initialized());
   EXPECT_EQ(watcher_->kMsgSockFd(), -1);
   ASSERT_EQ(traces_.errors().size(), 1U);
   EXPECT_TRUE(traces_.errors()[0].starts_with("StorageDeviceErrWatcherSm::handleInitialized() bind errno "));
   EXPECT_EQ(Support::openDescriptors(), before);
}

TEST_F(SdErrWatcherSocketTest, FailsAtAFolderInItsPlaceAndLeavesIt) {
   std::filesystem::create_directory(path_);
   start();
   EXPECT_EQ(failures_, Texts{"binding to dgram socket"});
   watcher_ = nullptr;
   EXPECT_TRUE(std::filesystem::is_directory(path_));
}

TEST_F(SdErrWatcherSocketTest, HasNoSocketWithoutDescriptors) {
   {
      Support::DescriptorLimit const limit{0};
      start();
   }
   EXPECT_EQ(failures_, Texts{"creating unix dgram socket"});
   ASSERT_EQ(traces_.errors().size(), 1U);
   EXPECT_TRUE(traces_.errors()[0].starts_with("StorageDeviceErrWatcherSm::handleInitialized() socket "));
}

}  // namespace

}  // namespace StorageDevices
