// Rewrites the lines of newer kernels to the wording that the library's expressions match.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/kernel/KernelMessages.h"
#include "runtime/Vorn/Seconds.h"

namespace Agent {

// Bytes of a line that its receiver reads.
inline constexpr std::size_t kernelLineSize = 1024;

// Rewrites line by line, and remembers the disks that earlier lines named.
//
// The table in KernelMessages.h decides which device a line names: the failed one, or none. A line of a file
// system on possibly several devices names its disk, with two exceptions. Either another disk is known to
// belong to the file system, by `LiesOnSeveral` or by an earlier line. Or another disk alone had errors in
// the minute before (by the kernel's stamps).
class KernelLineRewriter {
 public:
   // Whether the file system that the kernel names by this block device has other devices too.
   using LiesOnSeveral = std::function<bool(std::string_view device)>;

   explicit KernelLineRewriter(LiesOnSeveral liesOnSeveral = {}) : liesOnSeveral_{std::move(liesOnSeveral)} {}

   // Rewrites a whole line, "kernel: [ssssss.uuuuuu] text". Answers at most kernelLineSize bytes:
   //
   // - From a line that names a device the library reads that device, a disk in place of its partition. Where
   //   the kernel's wording differs, it follows the library's.
   // - From a line that names no device the library reads none. The line stays. Or its "kernel: [" becomes
   //   "kernel:_[": where the library would read a device that did not fail, or one from a device's own name.
   // - A line that is not in the table stays, with its partition replaced by the disk.
   //
   // The line may contain any bytes. The time is proportional to its length.
   std::string rewritten(std::string_view line);

 private:
   struct Failure {
      std::string disk;
      Vorn::Seconds stamp;  // of the kernel's latest line about it
   };

   std::string rewrittenText(std::string_view line);
   bool isDoubtful(KernelMatch const & match, Vorn::Seconds stamp) const;
   void rememberPool(KernelMatch const & match);
   void rememberFailure(KernelMatch const & match, Vorn::Seconds stamp);

   static constexpr std::size_t mostPools = 32;

   LiesOnSeveral liesOnSeveral_;
   std::array<Failure, 16> failures_;  // the latest of each disk
   std::size_t oldest_ = 0;
   std::vector<std::string> pools_;  // file systems known to lie on several disks
};

// Rewrites one line without knowledge of earlier ones.
std::string rewriteKernelLine(std::string_view line);

}  // namespace Agent
