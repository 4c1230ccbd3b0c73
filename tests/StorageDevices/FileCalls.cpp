#include "tests/support/FileCalls.h"

#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <utility>

#include "tests/support/NextCall.h"

namespace {

std::optional<unsigned> goodReads;
std::function<void()> afterLooking;

}  // namespace

namespace Support {

ReadFailure::ReadFailure(unsigned good) {
   goodReads = good;
}

ReadFailure::~ReadFailure() {
   goodReads.reset();
}

bool readFails() {
   if (!goodReads || (*goodReads)-- > 0)
      return false;
   goodReads = 0;
   errno = EIO;
   return true;
}

AfterLooking::AfterLooking(std::function<void()> action) {
   afterLooking = std::move(action);
}

AfterLooking::~AfterLooking() {
   afterLooking = nullptr;
}

}  // namespace Support

// Stands before the C library's.
extern "C" [[gnu::visibility("default")]] int fstatat(int folder, char const * path, struct stat * status,
                                                      int flags) noexcept {
   static auto const real = Support::nextCall(&fstatat);
   int const result = real(folder, path, status, flags);
   if (auto const action = std::exchange(afterLooking, nullptr))
      action();
   return result;
}
