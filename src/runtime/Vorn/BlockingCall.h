// Names a call that may sit in the kernel for minutes, as fsync, close or statvfs do on a dying disk. It
// holds the reactor thread and everything with it, so a host looks from another thread at what it is in
// (host/Activity.h).
#pragma once

#include <string_view>

#include "runtime/Export.h"

namespace Vorn {

// While it lives the call is published; at its end the one around it is again. Costs nanoseconds, allocates
// and locks nothing, leaves errno alone. On any other thread than the one that runs turns it does nothing.
class RUNTIME_API BlockingCall {
 public:
   // `operation` is kept as a pointer: a literal. Of `path` the first 255 bytes are published, up to a NUL.
   BlockingCall(char const * operation, std::string_view path);
   BlockingCall(BlockingCall const &) = delete;
   BlockingCall & operator=(BlockingCall const &) = delete;
   ~BlockingCall();

 private:
   bool published_;
};

}  // namespace Vorn
