// Any line of the kernel's log becomes a bounded line from which the library reads a whole disk, a port or
// nothing. Rewriting it again changes nothing.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Check.h"
#include "StorageDevices/KernelLine.h"
#include "agent/kernel/KernelDeviceName.h"
#include "agent/kernel/KernelLineRewrite.h"
#include "agent/kernel/KernelRecord.h"

namespace {

using StorageDevices::deviceInKernelLine;

void checkLine(std::string_view line, Agent::KernelLineRewriter & rewriter) {
   std::string_view const read = line.substr(0, Agent::kernelLineSize);
   std::string const result = Agent::rewriteKernelLine(line);
   FUZZ_CHECK(result.size() <= Agent::kernelLineSize);
   auto const before = deviceInKernelLine(read);
   auto const after = deviceInKernelLine(result);
   // Words put in front may push the end out.
   bool const isWhole = result.size() < Agent::kernelLineSize;
   if (after)
      FUZZ_CHECK(Agent::wholeDisk(*after) == *after);
   if (!before && isWhole)
      FUZZ_CHECK(after.has_value() == (result != read.substr(0, read.find('\0'))));
   if (isWhole)
      FUZZ_CHECK(Agent::rewriteKernelLine(result) == result);
   // Earlier lines can only withhold a device.
   auto const remembered = rewriter.rewritten(line);
   auto const named = deviceInKernelLine(remembered);
   FUZZ_CHECK(!named || (after && *named == *after));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const input(data, data + size);
   Agent::KernelLineRewriter rewriter;
   checkLine(input, rewriter);
   for (std::size_t from = 0; from < input.size();) {
      std::size_t const end = std::min(input.size(), input.find('\n', from));
      std::string const line = input.substr(from, end - from);
      checkLine(line, rewriter);
      if (auto const record = Agent::kernelRecord("6,1,5140900,-;" + line)) {
         std::string const made = Agent::kernelLine(*record);
         FUZZ_CHECK(made.starts_with("kernel: [    5.140900] "));
         FUZZ_CHECK(made.rfind("kernel: [") == 0 && made.size() <= line.size() + 24);
         checkLine(made, rewriter);
      }
      from = end + 1;
   }
   Agent::kernelRecord(input);
   return 0;
}
