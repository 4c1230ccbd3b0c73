// Limits the bytes that this process can map further, for its scope.
#pragma once

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <functional>

namespace Support {

struct MemoryUse {
   std::size_t mapped = 0;    // bytes of address space
   std::size_t resident = 0;  // of these in memory

   static MemoryUse now() {
      MemoryUse use;
      std::ifstream{"/proc/self/statm"} >> use.mapped >> use.resident;
      auto const page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
      return {use.mapped * page, use.resident * page};
   }
};

class MemoryLimit {
 public:
   explicit MemoryLimit(std::size_t more) {
      getrlimit(RLIMIT_AS, &before_);
      rlimit limit = before_;
      limit.rlim_cur = MemoryUse::now().mapped + more;
      setrlimit(RLIMIT_AS, &limit);
   }
   MemoryLimit(MemoryLimit const &) = delete;
   MemoryLimit & operator=(MemoryLimit const &) = delete;
   ~MemoryLimit() { setrlimit(RLIMIT_AS, &before_); }

 private:
   rlimit before_{};
};

// Allocates all memory available without another mapping, so that freed memory does not evade the limit.
inline void takeFreedMemory() {
   constexpr std::size_t blockBytes = 16384;
   MemoryLimit const none{0};
   void * volatile block = nullptr;
   do
      block = std::malloc(blockBytes);
   while (block != nullptr);
}

// Whether the action completed in a process of its own with that much more memory.
inline bool survives(std::size_t more, std::function<void()> const & action) {
   pid_t const child = fork();
   if (child == 0) {
      takeFreedMemory();
      MemoryLimit const limit{more};
      action();
      _exit(0);
   }
   int status = -1;
   waitpid(child, &status, 0);
   return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace Support
