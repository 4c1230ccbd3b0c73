// What an operation costs the thread. It is CPU time: what else the machine does is not in it.
#pragma once

#include <algorithm>
#include <ctime>
#include <utility>

namespace Bench {

inline double threadSeconds() {
   timespec now{};
   clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
   return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// Seconds of CPU.
struct Cost {
   double all = 0;
   double longest = 0;  // of its pieces: turns of the loop, or pieces of a document

   // One more piece.
   template <class Act>
   void add(Act && act) {
      double const begin = threadSeconds();
      std::forward<Act>(act)();
      double const seconds = threadSeconds() - begin;
      all += seconds;
      longest = std::max(longest, seconds);
   }
};

}  // namespace Bench
