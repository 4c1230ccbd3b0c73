// Any mount table reads as a naive split at blanks reads it. A line that is written as the kernel writes it
// gives back what it was made of.
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Check.h"
#include "base/MountInfo.h"
#include "runtime/model/MountTable.h"
#include "tests/support/TempDir.h"

namespace {

using Base::MountInfo;

std::vector<std::string> split(std::string const & text, char separator) {
   std::vector<std::string> parts(1);
   for (char const c : text)
      if (c == separator)
         parts.emplace_back();
      else
         parts.back() += c;
   return parts;
}

std::optional<unsigned> numberIn(std::string const & text) {
   std::uint64_t number = 0;
   for (char const c : text) {
      number = number * 10 + static_cast<std::uint64_t>(c - '0');
      if (c < '0' || c > '9' || number > UINT32_MAX)
         return std::nullopt;
   }
   return text.empty() ? std::nullopt : std::optional{static_cast<unsigned>(number)};
}

std::string withoutEscapes(std::string text) {
   auto const isEscape = [&](std::size_t at) {
      return text[at] == '\\' && at + 3 < text.size() &&
             text.find_first_not_of("01234567", at + 1) >= std::min(text.size(), at + 4);
   };
   for (std::size_t at = 0; at < text.size(); ++at)
      if (isEscape(at))
         text.replace(at, 4, 1, static_cast<char>(std::stoi(text.substr(at + 1, 3), nullptr, 8)));
   return text;
}

std::string joined(std::vector<std::string> const & words, std::size_t from) {
   std::string text;
   for (std::size_t at = from; at < words.size(); ++at)
      text += (at == from ? "" : " ") + words[at];
   return text;
}

std::optional<MountInfo> naive(std::string const & line) {
   std::vector<std::string> const words = split(line, ' ');
   if (words.size() < 7)
      return std::nullopt;
   auto const dash = static_cast<std::size_t>(std::find(words.begin() + 6, words.end(), "-") - words.begin());
   std::vector<std::string> const number = split(words[2], ':');
   std::string const options = joined(words, std::min(dash + 3, words.size()));
   std::string const lower = joined(number, 1);
   if (dash + 3 >= words.size() || options.empty() || words[2].find(':') == std::string::npos ||
       std::count(words[2].begin(), words[2].end(), ':') != 1 || !numberIn(number[0]) || !numberIn(lower))
      return std::nullopt;
   return MountInfo{makedev(*numberIn(number[0]), *numberIn(lower)), withoutEscapes(words[4]), words[5],
                    withoutEscapes(words[dash + 2]), options};
}

void checkLine(std::string const & line) {
   auto const mount = Base::parseMountInfo(line);
   auto const expected = naive(line);
   FUZZ_CHECK(mount.has_value() == expected.has_value());
   if (!mount)
      return;
   FUZZ_CHECK(mount->number == expected->number && mount->target == expected->target &&
              mount->options == expected->options && mount->source == expected->source &&
              mount->fsOptions == expected->fsOptions);
   bool readOnly = false;
   for (std::string const & options : {mount->options, mount->fsOptions})
      for (std::string const & option : split(options, ','))
         readOnly = readOnly || option.substr(0, option.find('=')) == "ro";
   FUZZ_CHECK(mount->has("ro") == readOnly);
}

std::string escapedByKernel(std::string_view text) {
   std::string result;
   for (char const c : text) {
      std::array<char, 5> code{};
      std::snprintf(code.data(), code.size(), "\\%03o", static_cast<unsigned>(static_cast<unsigned char>(c)));
      bool const isEscaped = c == ' ' || c == '\t' || c == '\n' || c == '\\';
      isEscaped ? result += code.data() : result += c;
   }
   return result;
}

void checkRoundTrip(std::string const & input) {
   std::string const target = input.substr(0, input.size() / 2);
   std::string const source = input.substr(input.size() / 2);
   auto const mount = Base::parseMountInfo("36 25 8:1 / " + escapedByKernel(target) + " rw shared:1 - ext4 " +
                                           escapedByKernel(source) + " rw");
   FUZZ_CHECK(mount && mount->target == target && mount->source == source);
}

// Through the file, as the monitors read it.
void checkTable(std::string const & table) {
   static Support::TempDir const folder;
   static bool const isMade = [] {
      StorageDevices::Mounts::rootIs(folder.string());
      return std::filesystem::create_directories(folder.path() / "proc/self");
   }();
   FUZZ_CHECK(isMade);
   folder.write("proc/self/mountinfo", table);
   std::vector<std::string> expected;
   std::istringstream lines{table};
   for (std::string line; std::getline(lines, line);) {
      checkLine(line);
      auto const mount = naive(line);
      if (mount && std::find(expected.begin(), expected.end(), mount->target) == expected.end())
         expected.push_back(mount->target);
   }
   FUZZ_CHECK(StorageDevices::Mounts::mountPoints() == expected);
   // Each reads the whole table again.
   expected.resize(std::min<std::size_t>(expected.size(), 2));
   for (std::string const & target : expected)
      FUZZ_CHECK(!StorageDevices::Mounts::mountsAt(Pelm::String{target}).empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const input(data, data + size);
   checkRoundTrip(input);
   checkTable(input);
   return 0;
}
