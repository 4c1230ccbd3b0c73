// The lines of newer kernels in the words of those for which the library's expressions were written.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/kernel/KernelMessages.h"

namespace Agent {

// As much of a line as its receiver reads.
inline constexpr std::size_t kernelLineSize = 1024;

// Rewrites line by line, and remembers what earlier lines said of the disks.
//
// The table of KernelMessages.h decides which device a line names: the one that failed, or none. A line of a
// file system that may lie on several devices names its disk unless another disk is known to be among them,
// or another disk alone had errors in the minute before, by the kernel's own stamps.
class KernelLineRewriter {
 public:
   // Whether the file system that the kernel calls by this block device lies on others too.
   using LiesOnSeveral = std::function<bool(std::string_view device)>;

   explicit KernelLineRewriter(LiesOnSeveral liesOnSeveral = {}) : liesOnSeveral_{std::move(liesOnSeveral)} {}

   // Takes a whole line, "kernel: [ssssss.uuuuuu] text", and gives back at most kernelLineSize bytes of it:
   //
   // - From a line that names a device the library reads that device, a disk in place of its partition. Where
   //   the kernel has other words than the library, the kernel's follow.
   // - From a line that names nobody the library reads nothing: it stays as it is, or its "kernel: [" becomes
   //   "kernel:_[" where the library would read a device that did not fail, or one that the device itself put
   //   into its name.
   // - A line that is not in the table stays, a disk in place of its partition.
   //
   // Any bytes may come. Takes time in proportion to the length.
   std::string rewritten(std::string_view line);

 private:
   struct Failure {
      std::string disk;
      double seconds = 0;  // the kernel's own stamp
   };

   std::string rewrittenText(std::string_view line);
   bool isDoubtful(KernelMatch const & match, double seconds) const;
   void rememberPool(KernelMatch const & match);
   void rememberFailure(KernelMatch const & match, double seconds);

   static constexpr std::size_t mostPools = 32;

   LiesOnSeveral liesOnSeveral_;
   std::array<Failure, 16> failures_;  // the latest of each disk
   std::size_t oldest_ = 0;
   std::vector<std::string> pools_;  // file systems that were seen to lie on several disks
};

// A line of which nothing is known but itself.
std::string rewriteKernelLine(std::string_view line);

}  // namespace Agent
