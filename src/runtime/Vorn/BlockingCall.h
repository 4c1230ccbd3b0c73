// Names a call that may block in the kernel for minutes, such as fsync, close or statvfs on a failing disk.
// Such a call stalls the reactor thread, so a host can read its name from another thread (host/Activity.h).
#pragma once

#include <string_view>

#include "runtime/Export.h"

namespace Vorn {

// Publishes the call for its scope; afterwards the enclosing call is published again. Costs nanoseconds,
// allocates and locks nothing, and keeps errno. It does nothing on another thread than the one that runs
// turns.
class VORN_API BlockingCall {
 public:
   // `operation` must be a literal, since its pointer is kept. The first 255 bytes of `path` are published,
   // up to a NUL.
   BlockingCall(char const * operation, std::string_view path);
   BlockingCall(BlockingCall const &) = delete;
   BlockingCall & operator=(BlockingCall const &) = delete;
   ~BlockingCall();

 private:
   bool published_;
};

}  // namespace Vorn
