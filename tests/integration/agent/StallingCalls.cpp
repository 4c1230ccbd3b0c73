// Preloaded into the agent: the call that STALLED_CALL names stalls while the file STALLED_WHILE exists, as
// on a disk that does not answer.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

void stallIf(std::string_view call) {
   constexpr useconds_t moment = 10000;
   char const * const stalled = std::getenv("STALLED_CALL");
   char const * const file = std::getenv("STALLED_WHILE");
   while (stalled && file && stalled == call && access(file, F_OK) == 0)
      usleep(moment);
}

template <class Function>
Function * real(char const * name) {
   return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

int fsync(int fd) {
   stallIf("fsync");
   return real<int(int)>("fsync")(fd);
}

int rename(char const * from, char const * to) noexcept {
   stallIf("rename");
   return real<int(char const *, char const *)>("rename")(from, to);
}

// A file system in memory stands in for a disk's; older kernels refuse direct I/O there.
int open(char const * path, int flags, ...) {
   va_list arguments;
   va_start(arguments, flags);
   mode_t const mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
   va_end(arguments);
   return real<int(char const *, int, ...)>("open")(path, flags & ~O_DIRECT, mode);
}

}  // extern "C"
