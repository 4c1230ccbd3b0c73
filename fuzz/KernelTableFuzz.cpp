// Each line of the kernel finds the row, and names the device, that a naive reading of the table finds.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Check.h"
#include "NaiveKernelTable.h"
#include "agent/kernel/KernelLinePrefix.h"

namespace {

void checkText(std::string_view text) {
   Agent::KernelMatch match;
   auto const * const message = Agent::kernelMessageOf(text, match);
   NaiveKernel::Found const expected = NaiveKernel::messageOf(text);
   FUZZ_CHECK(message == expected.message);
   if (message == nullptr)
      return;
   FUZZ_CHECK(match.namedAs == expected.match.namedAs && match.device == expected.match.device);
   FUZZ_CHECK(match.nameInLine == expected.match.nameInLine && match.event == expected.match.event);
   FUZZ_CHECK(match.isBlockDevice == expected.match.isBlockDevice);
   FUZZ_CHECK(match.fileSystem == expected.match.fileSystem && match.address == expected.match.address);
   if (!match.device.empty())
      FUZZ_CHECK(Agent::inLibraryForm(message->form, text, match).size() <= 2 * text.size() + 100);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const input(data, data + size);
   for (std::size_t from = 0; from < input.size();) {
      std::size_t const end = std::min(input.size(), input.find('\n', from));
      std::string const line = input.substr(from, std::min<std::size_t>(end - from, 1024));
      auto const prefix = Agent::kernelLinePrefix(line);
      checkText(prefix ? prefix->text : std::string_view{line});
      from = end + 1;
   }
   return 0;
}
