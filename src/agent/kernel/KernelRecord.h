// What reading /dev/kmsg gives: one record of the kernel's log at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Agent {

struct KernelRecord {
   unsigned facility = 0;  // 0: said by the kernel; every other is a program that wrote to its log
   std::uint64_t sequence = 0;
   std::uint64_t microseconds = 0;  // since the machine was started
   std::string text;                // printable characters that the record escapes are themselves again
};

// Reads "6,339,5140900,-;text" and what lines of properties may follow; nothing when the record is none.
std::optional<KernelRecord> kernelRecord(std::string_view record);

// "kernel: [    5.140900] text", the stamp as the kernel itself prints it. The line has one such beginning,
// whatever names a device gave itself in the text.
std::string kernelLine(KernelRecord const & record);

}  // namespace Agent
