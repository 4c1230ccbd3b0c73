// The prefix of the kernel's own text in a line of its log.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "runtime/Vorn/Seconds.h"

namespace Agent {

struct KernelLinePrefix {
   std::string head;       // up to the stamp, and a blank: "kernel: [    5.123456] "
   std::string_view text;  // behind the stamp and the fields that consoles add
   Vorn::Seconds stamp;    // since the boot
};

// Reads "kernel: [    5.123456] text", before which a log may put a date and a host. Skips a
// level ("<6>"), the writer ("[  T123]", "[C0]", "I[7:  swapper/7:    0]", "(2)[77:kworker]"), the processor
// ("003: ") and a second "kernel: ". Nothing when there is no such stamp.
std::optional<KernelLinePrefix> kernelLinePrefix(std::string_view line);

}  // namespace Agent
