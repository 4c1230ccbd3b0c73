// The system calls of the file system health test, with fault injection. While the result attribute of a call
// is not 0, the call is not made. The attribute is answered instead, with errno set to the errno attribute.
// All attributes are 0 at first, so every call is made; a result of 0 cannot be injected.
//
// The calls block while the kernel does: on a failing disk for minutes. Their caller names them to the host's
// watchdog (Vorn::BlockingCall).
#pragma once

#include <cstdint>

#include "StorageDevices/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"

namespace StorageDevices {

class STORAGEDEVICES_API FsHealthIoOps : public Pelm::Node {
 public:
   using Attribute = Vorn::Attribute<std::int32_t, FsHealthIoOps>;

   // For `openPath` and `openCookie`. A positive result is used as a descriptor.
   Attribute openRet{*this, "openRet", 0};
   void openRetIs(std::int32_t value) { openRet.valueIs(value); }
   Attribute openErrno{*this, "openErrno", 0};
   void openErrnoIs(std::int32_t value) { openErrno.valueIs(value); }
   Attribute lseekRet{*this, "lseekRet", 0};
   void lseekRetIs(std::int32_t value) { lseekRet.valueIs(value); }
   Attribute lseekErrno{*this, "lseekErrno", 0};
   void lseekErrnoIs(std::int32_t value) { lseekErrno.valueIs(value); }
   // The buffer keeps its contents.
   Attribute readRet{*this, "readRet", 0};
   void readRetIs(std::int32_t value) { readRet.valueIs(value); }
   Attribute readErrno{*this, "readErrno", 0};
   void readErrnoIs(std::int32_t value) { readErrno.valueIs(value); }
   Attribute writeRet{*this, "writeRet", 0};
   void writeRetIs(std::int32_t value) { writeRet.valueIs(value); }
   Attribute writeErrno{*this, "writeErrno", 0};
   void writeErrnoIs(std::int32_t value) { writeErrno.valueIs(value); }
   Attribute fsyncRet{*this, "fsyncRet", 0};
   void fsyncRetIs(std::int32_t value) { fsyncRet.valueIs(value); }
   Attribute fsyncErrno{*this, "fsyncErrno", 0};
   void fsyncErrnoIs(std::int32_t value) { fsyncErrno.valueIs(value); }
   // The descriptor stays open.
   Attribute closeRet{*this, "closeRet", 0};
   void closeRetIs(std::int32_t value) { closeRet.valueIs(value); }
   Attribute closeErrno{*this, "closeErrno", 0};
   void closeErrnoIs(std::int32_t value) { closeErrno.valueIs(value); }
   // Percent, or -1; it has no errno attribute.
   Attribute utilChkRet{*this, "utilChkRet", 0};
   void utilChkRetIs(std::int32_t value) { utilChkRet.valueIs(value); }

   // Each answers like the call of its name: a descriptor, an offset, a number of bytes or 0. On failure it
   // answers a negative value, with errno set. A created file gets mode 0644. Descriptors are close-on-exec,
   // whatever the flags.
   int openPath(Pelm::String const & path, int flags) const;
   // Opens the test's own file below a mount point, by the rules of CookieFile.h. The injected results of
   // `openPath` apply.
   int openCookie(Pelm::String const & mountPoint, int flags) const;
   std::int64_t lseekFd(int fd, int offset, int whence) const;
   std::int64_t readFd(int fd, void * buffer, std::uint32_t length) const;
   std::int64_t writeFd(int fd, void const * buffer, std::uint32_t length) const;
   int fsyncFd(int fd) const;
   int closeFd(int fd) const;
   // Used space of a file system in percent of the space that users may use, 0 to 100, rounded down. -1 when
   // it is unknown: statvfs failed, or its numbers contradict each other or are all 0.
   int getUtilPercent(Pelm::String const & path) const;
};

}  // namespace StorageDevices
