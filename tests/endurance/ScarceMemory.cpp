#include "tests/endurance/ScarceMemory.h"

#include <unistd.h>

#include <fstream>
#include <system_error>

namespace Endurance {

namespace {

constexpr rlim_t room = 2U << 20U;

rlim_t addressSpace() {
   rlim_t pages = 0;
   std::ifstream{"/proc/self/statm"} >> pages;
   return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

void limitIs(rlimit const & limit) {
   if (setrlimit(RLIMIT_AS, &limit) != 0)
      throw std::system_error{errno, std::generic_category(), "RLIMIT_AS"};
}

}  // namespace

bool memoryCanBeScarce() {
#if defined(__SANITIZE_ADDRESS__)
   return false;
#elif defined(__has_feature)
   return !__has_feature(address_sanitizer);
#else
   return true;
#endif
}

ScarceMemory::ScarceMemory() {
   getrlimit(RLIMIT_AS, &before_);
   renew();
}

ScarceMemory::~ScarceMemory() {
   setrlimit(RLIMIT_AS, &before_);
}

void ScarceMemory::renew() const {
   limitIs({addressSpace() + room, before_.rlim_max});
}

void ScarceMemory::suspend() const {
   limitIs(before_);
}

}  // namespace Endurance
