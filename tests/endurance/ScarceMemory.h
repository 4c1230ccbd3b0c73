// A limit of the process's address space: little more than it has, enough for all but large reports.
#pragma once

#include <sys/resource.h>

namespace Endurance {

// False under AddressSanitizer, which takes any failure to map memory as its own.
bool memoryCanBeScarce();

// The limit while this lives.
class ScarceMemory {
 public:
   ScarceMemory();
   ~ScarceMemory();
   ScarceMemory(ScarceMemory const &) = delete;
   ScarceMemory & operator=(ScarceMemory const &) = delete;

   // Gives the limit the same room again, beyond what the process has now.
   void renew() const;
   // No limit until the next `renew`.
   void suspend() const;

 private:
   rlimit before_{};
};

}  // namespace Endurance
