// The health test runs as root where users may write. Whatever they put in the place of its folder or its
// file, and whenever they do, it touches nothing else.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fstream>
#include <functional>
#include <ostream>
#include <string_view>
#include <thread>
#include <utility>

#include "tests/StorageDevices/FsHealthLinksTest.h"

namespace {

// Runs once, right before the next call of that kind: somebody was faster.
std::function<void()> beforeMaking;
std::function<void()> beforeOpeningItself;

void run(std::function<void()> & hook) {
   if (auto const once = std::exchange(hook, nullptr))
      once();
}

mode_t modeArgument(int flags, va_list arguments) {
   return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

// In the place of the C library's for this program.
extern "C" {

int openat(int folder, char const * path, int flags, ...) {  // NOLINT: as it is
   va_list arguments;
   va_start(arguments, flags);
   mode_t const mode = modeArgument(flags, arguments);
   va_end(arguments);
   if ((flags & O_CREAT) != 0)
      run(beforeMaking);
   return static_cast<int>(syscall(SYS_openat, folder, path, flags | O_LARGEFILE, mode));
}

int open(char const * path, int flags, ...) {  // NOLINT: as it is
   va_list arguments;
   va_start(arguments, flags);
   mode_t const mode = modeArgument(flags, arguments);
   va_end(arguments);
   if (std::string_view{path}.starts_with("/proc/self/fd/"))
      run(beforeOpeningItself);
   return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags | O_LARGEFILE, mode));
}

// What a build with checked calls (_FORTIFY_SOURCE) makes of it where the flags are no constant.
int __open_2(char const * path, int flags) {  // NOLINT: as it is
   return open(path, flags);
}
int __open64_2(char const * path, int flags) {  // NOLINT: as it is
   return open(path, flags);
}

}  // extern "C"

namespace StorageDevices {

namespace {

// What may stand in the place of the file.
struct Trap {
   char const * name;
   bool needsRoot;
   void (*make)(fs::path const & place, fs::path const & precious);

   // As a failure names it.
   friend void PrintTo(Trap const & trap, std::ostream * out) { *out << trap.name; }
};

constexpr Trap traps[] = {
    {"aLink", false, [](auto const & place, auto const & precious) { fs::create_symlink(precious, place); }},
    {"aRelativeLink", false,
     [](auto const & place, auto const &) { fs::create_symlink("../../elsewhere/precious", place); }},
    {"aLinkToNothingYet", false,
     [](auto const & place, auto const & precious) {
        fs::create_symlink(precious.parent_path() / "new", place);
     }},
    {"aLinkToAFolder", false,
     [](auto const & place, auto const & precious) { fs::create_symlink(precious.parent_path(), place); }},
    {"anotherNameOfAFile", false,
     [](auto const & place, auto const & precious) { fs::create_hard_link(precious, place); }},
    {"aFifo", false, [](auto const & place, auto const &) { ASSERT_EQ(mkfifo(place.c_str(), 0666), 0); }},
    {"aCharacterDevice", true,
     [](auto const & place, auto const &) {
        ASSERT_EQ(mknod(place.c_str(), S_IFCHR | 0666, makedev(1, 3)), 0);
     }},
    {"aBlockDevice", true,
     [](auto const & place, auto const &) {
        ASSERT_EQ(mknod(place.c_str(), S_IFBLK | 0666, makedev(7, 7)), 0);
     }},
    // Last: it may stand in the place of the file alone.
    {"aFolder", false, [](auto const & place, auto const &) { fs::create_directory(place); }},
};

class FsHealthTrapsTest : public FsHealthLinksTest, public testing::WithParamInterface<Trap> {
 protected:
   void SetUp() override {
      if (GetParam().needsRoot && geteuid() != 0)
         GTEST_SKIP() << "only root makes devices";
   }
   void setIn(fs::path const & place) const {
      replace(place, [&](fs::path const & at) { GetParam().make(at, precious()); });
   }
};

TEST_P(FsHealthTrapsTest, ReplacesATrapLeftBeforeTheTest) {
   setIn(cookie());
   machine_->start();
   if (std::string{GetParam().name} == "aFolder") {
      expectRefused("setupTest - unlink", EISDIR);
      return;
   }
   Vorn::Host::runFor(601);
   expectHealthy();
}

TEST_P(FsHealthTrapsTest, DoesNotWriteToATrapSwappedInBeforeTheWriteTest) {
   machine_->start();
   setIn(cookie());
   Vorn::Host::runFor(301);
   expectRefused("writeTest - open");
}

TEST_P(FsHealthTrapsTest, DoesNotWriteToATrapSwappedInWhileTheFileIsMade) {
   machine_->start();
   beforeMaking = [this] { setIn(cookie()); };
   Vorn::Host::runFor(301);
   EXPECT_FALSE(beforeMaking);
   expectRefused("writeTest - open");
}

TEST_P(FsHealthTrapsTest, DoesNotOpenATrapSwappedInWhileTheFileIsOpened) {
   machine_->start();
   Vorn::Host::runFor(301);
   beforeOpeningItself = [this] {
      fs::rename(cookie(), mountPoint_ / "aside");
      setIn(cookie());
   };
   Vorn::Host::runFor(300);
   EXPECT_FALSE(beforeOpeningItself);
   expectHealthy();
}

TEST_P(FsHealthTrapsTest, DoesNotReadATrapSwappedInBeforeTheReadTest) {
   machine_->start();
   Vorn::Host::runFor(301);
   setIn(cookie());
   Vorn::Host::runFor(300);
   expectRefused("readTest - open");
}

// The same in the place of the folder.
class FsHealthFolderTrapsTest : public FsHealthTrapsTest {};

TEST_P(FsHealthFolderTrapsTest, DoesNotEnterATrapLeftBeforeTheTest) {
   setIn(debug());
   machine_->start();
   bool const isLink = std::string{GetParam().name}.find("Link") != std::string::npos;
   expectRefused("setupTest - unlink", isLink ? ELOOP : ENOTDIR);
}

TEST_P(FsHealthFolderTrapsTest, DoesNotEnterATrapSwappedInBeforeTheWriteTest) {
   machine_->start();
   setIn(debug());
   Vorn::Host::runFor(301);
   expectRefused("writeTest - open");
}

TEST_P(FsHealthFolderTrapsTest, DoesNotEnterATrapSwappedInBeforeTheReadTest) {
   machine_->start();
   Vorn::Host::runFor(301);
   setIn(debug());
   Vorn::Host::runFor(300);
   expectRefused("readTest - open");
}

std::string trapName(testing::TestParamInfo<Trap> const & trap) {
   return trap.param.name;
}
INSTANTIATE_TEST_SUITE_P(All, FsHealthTrapsTest, testing::ValuesIn(traps), trapName);
INSTANTIATE_TEST_SUITE_P(All, FsHealthFolderTrapsTest,
                         testing::ValuesIn(std::begin(traps), std::end(traps) - 1), trapName);

TEST_F(FsHealthLinksTest, DoesNotDeleteAFileBehindALinkedFolder) {
   std::string const theirs = "elsewhere/healthTestCookie";
   folder_.write(theirs, "theirs");
   fs::create_directory_symlink(elsewhere_, debug());
   machine_->start();
   EXPECT_EQ(folder_.content(theirs), "theirs");
   EXPECT_EQ(machine_->nonSyslogErrorCount(), 1U);
}

TEST_F(FsHealthLinksTest, MakesNoFolderBehindALink) {
   fs::create_directory_symlink(elsewhere_ / "new", debug());
   machine_->start();
   expectRefused("setupTest - unlink");
}

TEST_F(FsHealthLinksTest, SendsNothingToTheReaderOfAFifo) {
   machine_->start();
   replace(cookie(), [](fs::path const & place) { ASSERT_EQ(mkfifo(place.c_str(), 0666), 0); });
   int const reader = open(cookie().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
   ASSERT_GE(reader, 0);
   Vorn::Host::runFor(301);
   char byte = 0;
   EXPECT_EQ(read(reader, &byte, 1), 0);
   close(reader);
   expectRefused("writeTest - open");
}

TEST_F(FsHealthLinksTest, UsesAPlainFileThatSomebodyElseMade) {
   machine_->start();
   replace(cookie(), [](fs::path const & place) { std::ofstream{place} << "another"; });
   Vorn::Host::runFor(601);
   expectHealthy();
   EXPECT_EQ(Support::fileContent(cookie()), machine_->cookieData().str());
}

TEST_F(FsHealthLinksTest, DoesNotTruncateALongerFileThatSomebodyElseMade) {
   machine_->start();
   replace(cookie(), [this](fs::path const & place) { std::ofstream{place} << precious_; });
   Vorn::Host::runFor(601);
   expectHealthy();
   EXPECT_EQ(Support::fileContent(cookie()), machine_->cookieData().str() + precious_.substr(blockSize));
}

TEST_F(FsHealthLinksTest, FollowsAMountPointThatIsItselfALink) {
   fs::path const link = folder_.path() / "link";
   fs::create_directory_symlink(mountPoint_, link);
   watch(link);
   machine_->start();
   Vorn::Host::runFor(601);
   expectHealthy();
   EXPECT_EQ(Support::fileContent(cookie()), machine_->cookieData().str());
}

TEST_F(FsHealthLinksTest, DoesNotUseAFileThatGetsAnotherNameWhileItIsOpened) {
   machine_->start();
   Vorn::Host::runFor(301);
   beforeOpeningItself = [this] { fs::create_hard_link(cookie(), mountPoint_ / "another"); };
   Vorn::Host::runFor(300);
   expectRefused("readTest - open");
}

TEST_F(FsHealthLinksTest, IgnoresOwners) {
   if (geteuid() != 0)
      GTEST_SKIP() << "only root gives files away";
   constexpr uid_t another = 12345;
   fs::create_directory(debug());
   for (fs::path const & place : {mountPoint_, debug()})
      ASSERT_EQ(chown(place.c_str(), another, another), 0);
   machine_->start();
   Vorn::Host::runFor(301);
   ASSERT_EQ(chown(cookie().c_str(), another, another), 0);
   Vorn::Host::runFor(300);
   expectHealthy();
}

// Somebody swaps file and folder for links as fast as a thread can.
TEST_F(FsHealthLinksTest, LosesNoRaceAgainstASwappedFile) {
   fs::create_directory(debug());
   fs::create_directory_symlink(elsewhere_, mountPoint_ / "aside");
   int const mount = open(mountPoint_.c_str(), O_PATH | O_CLOEXEC);
   int const own = open(debug().c_str(), O_PATH | O_CLOEXEC);
   std::atomic<bool> over = false;
   std::thread attacker{[&] {
      auto const plant = [&](fs::path const & target) {
         symlinkat(target.c_str(), mount, "trap");
         if (renameat2(mount, "trap", own, "healthTestCookie", RENAME_EXCHANGE) != 0)
            renameat(mount, "trap", own, "healthTestCookie");
      };
      while (!over) {
         plant(precious());
         plant(elsewhere_ / "new");
         for (int i = 0; i < 2; ++i)
            renameat2(mount, "aside", mount, "debug", RENAME_EXCHANGE);
      }
   }};
   for (int i = 0; i < 100; ++i) {
      machine_->start();
      Vorn::Host::runFor(900);
   }
   over = true;
   attacker.join();
   machine_->stop();
   close(own);
   close(mount);
   expectNothingTouched();
}

}  // namespace

}  // namespace StorageDevices
