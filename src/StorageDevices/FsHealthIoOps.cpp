#include "StorageDevices/FsHealthIoOps.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>

#include "StorageDevices/CookieFile.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/FsHealthTrace.h"

namespace StorageDevices {

namespace {

// The injected result if there is one, else the result of the call.
template <class Call>
auto injectedOr(FsHealthIoOps::Attribute const & result, FsHealthIoOps::Attribute const & error, Call call)
    -> decltype(call()) {
   if (result() == 0)
      return call();
   errno = error();
   return result();
}

// Drops the last bits of numbers whose product with 100 exceeds 64 bits; they do not affect the percentage.
int percentOf(std::uint64_t part, std::uint64_t whole) {
   constexpr std::uint64_t all = 100;
   constexpr int room = 57;
   int const excess = std::max(0, static_cast<int>(std::bit_width(whole)) - room);
   return static_cast<int>((part >> excess) * all / (whole >> excess));
}

}  // namespace

int FsHealthIoOps::openPath(Pelm::String const & path, int flags) const {
   constexpr mode_t mode = 0644;
   return injectedOr(openRet, openErrno, [&] { return ::open(path.data(), flags | O_CLOEXEC, mode); });
}

int FsHealthIoOps::openCookie(Pelm::String const & mountPoint, int flags) const {
   return injectedOr(openRet, openErrno, [&] { return CookieFile::open(mountPoint, flags); });
}

std::int64_t FsHealthIoOps::lseekFd(int fd, int offset, int whence) const {
   return injectedOr(lseekRet, lseekErrno, [&] { return std::int64_t{lseek(fd, offset, whence)}; });
}

std::int64_t FsHealthIoOps::readFd(int fd, void * buffer, std::uint32_t length) const {
   return injectedOr(readRet, readErrno, [&] { return std::int64_t{read(fd, buffer, length)}; });
}

std::int64_t FsHealthIoOps::writeFd(int fd, void const * buffer, std::uint32_t length) const {
   return injectedOr(writeRet, writeErrno, [&] { return std::int64_t{write(fd, buffer, length)}; });
}

int FsHealthIoOps::fsyncFd(int fd) const {
   return injectedOr(fsyncRet, fsyncErrno, [&] { return fsync(fd); });
}

int FsHealthIoOps::closeFd(int fd) const {
   return injectedOr(closeRet, closeErrno, [&] { return close(fd); });
}

int FsHealthIoOps::getUtilPercent(Pelm::String const & path) const {
   if (utilChkRet() != 0)
      return utilChkRet();
   struct statvfs status {};
   if (statvfs(path.data(), &status) != 0)
      return -1;
   VORN_TRACE(fsHealthTraceHandle, 7) << "getUtilPercent"
                                      << " blks: " << status.f_blocks << " free-blks: " << status.f_bfree
                                      << " blks-avail: " << status.f_bavail;
   std::uint64_t const used = status.f_blocks - status.f_bfree;
   std::uint64_t const usable = used + status.f_bavail;
   bool const makesNoSense = status.f_bfree > status.f_blocks || usable < used;
   return makesNoSense || usable == 0 ? -1 : percentOf(used, usable);
}

Pelm::Ptr<FsHealthIoOps> fsHealthIoOpsFactory() {
   return Pelm::make<FsHealthIoOps>();
}

}  // namespace StorageDevices
