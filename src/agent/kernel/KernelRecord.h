// One record of the kernel's log, as one read of /dev/kmsg gives it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Agent {

struct KernelRecord {
   unsigned facility = 0;  // 0: written by the kernel; any other: by a program
   std::uint64_t sequence = 0;
   std::uint64_t microseconds = 0;  // since the machine's start
   std::string text;                // escapes of printable characters are resolved
};

// Reads "6,339,5140900,-;text", which lines of properties may follow. Nothing for a text of another form.
std::optional<KernelRecord> kernelRecord(std::string_view record);

// "kernel: [    5.140900] text", with the stamp in the kernel's own form. The line contains that prefix once,
// even if a device's name in the text contains it too.
std::string kernelLine(KernelRecord const & record);

}  // namespace Agent
