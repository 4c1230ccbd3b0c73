// Decides about each system call of one process, and fails one of them. The kernel asks (a seccomp notifier),
// so no call is missed, whoever makes it: the C library, libudev or a library that is preloaded.
#pragma once

#include <linux/seccomp.h>
#include <sys/types.h>

#include <atomic>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/UniqueFd.h"
#include "tests/faults/Calls.h"

namespace Faults {

// One call that fails once: the n-th one at a place, such as "openat /proc/self/mountinfo".
struct Fault {
   std::string place;
   unsigned long ordinal = 0;
   int error = 0;
};

// Called in the new process, before it becomes the program. Answers the descriptor at which the kernel asks,
// -1 without one. Its number is the lowest that was free.
int askBeforeEachCall();

class Supervisor {
 public:
   // Texts that differ between runs, each with the one that stands for it.
   using Replacements = std::vector<std::pair<std::string, std::string>>;

   Supervisor(pid_t process, Base::UniqueFd asking, std::optional<Fault> fault, Replacements replacements);
   ~Supervisor();
   Supervisor(Supervisor const &) = delete;
   Supervisor & operator=(Supervisor const &) = delete;

   bool hasFailedOne() const { return failed_; }
   // Of a process that has ended: how often it called from each place, and the calls that never fail.
   std::map<std::string, unsigned long> const & places() const { return places_; }
   std::map<int, unsigned long> const & others() const { return others_; }

 private:
   void answer();
   // The error for the call, 0 for none.
   int errorFor(seccomp_notif const & asked);
   bool isOfProcess(pid_t thread) const;
   std::string placeOf(seccomp_notif const & asked, Call const & call) const;
   std::string alike(std::string text) const;

   pid_t process_;
   Base::UniqueFd asking_;
   std::optional<Fault> fault_;
   Replacements replacements_;
   bool counts_ = false;
   std::map<std::string, unsigned long> places_;
   std::map<int, unsigned long> others_;
   std::atomic<bool> failed_ = false;
   std::atomic<bool> ends_ = false;
   std::thread thread_;
};

}  // namespace Faults
