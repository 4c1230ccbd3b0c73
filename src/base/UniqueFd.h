// Owns an open descriptor and closes it. The end of one does not change errno.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Base {

class UniqueFd {
 public:
   // -1: none.
   explicit UniqueFd(int fd = -1) : fd_{fd} {}
   UniqueFd(UniqueFd && other) noexcept : fd_{other.release()} {}
   UniqueFd & operator=(UniqueFd && other) noexcept {
      reset(other.release());
      return *this;
   }
   ~UniqueFd() { reset(); }

   int get() const { return fd_; }
   explicit operator bool() const { return fd_ >= 0; }
   int release() { return std::exchange(fd_, -1); }
   void reset(int fd = -1) {
      int const error = errno;
      int const before = std::exchange(fd_, fd);
      if (before >= 0)
         close(before);
      errno = error;
   }

 private:
   int fd_;
};

}  // namespace Base
