// Each line of the kernel finds the row, and names the device, that a naive reading of the table finds. So
// does each example of the table with a part of the line in it.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

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

std::vector<std::string_view> examples() {
   std::vector<std::string_view> all;
   for (auto const groups : Agent::kernelMessages())
      for (auto const & group : groups)
         for (auto const & message : group.messages)
            all.push_back(message.example);
   return all;
}

// The first bytes of the line choose the example and the place.
void checkInExample(std::string_view line) {
   static std::vector<std::string_view> const all = examples();
   constexpr std::size_t choice = 3;
   if (line.size() < choice)
      return;
   auto const byte = [line](std::size_t at) {
      return static_cast<std::size_t>(static_cast<unsigned char>(line[at]));
   };
   std::string_view const example = all[(byte(0) * 256 + byte(1)) % all.size()];
   std::size_t const cut = byte(2) % (example.size() + 1);
   std::string text{example.substr(0, cut)};
   text += line.substr(choice);
   checkText(text);
   text += example.substr(cut);
   checkText(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   static bool const areExamplesGood = [] {
      for (std::string_view const example : examples())
         checkText(example);
      return true;
   }();
   FUZZ_CHECK(areExamplesGood);
   std::string const input(data, data + size);
   for (std::size_t from = 0; from < input.size();) {
      std::size_t const end = std::min(input.size(), input.find('\n', from));
      std::string const line = input.substr(from, std::min<std::size_t>(end - from, 1024));
      auto const prefix = Agent::kernelLinePrefix(line);
      checkText(prefix ? prefix->text : std::string_view{line});
      checkInExample(line);
      from = end + 1;
   }
   return 0;
}
