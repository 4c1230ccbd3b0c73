// Little memory, for as long as it lives: this process may map so many bytes more than it has mapped.
#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <cstddef>
#include <fstream>

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

}  // namespace Support
