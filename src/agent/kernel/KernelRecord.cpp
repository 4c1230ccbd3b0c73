#include "agent/kernel/KernelRecord.h"

#include <charconv>
#include <cstdio>

#include "StorageDevices/CharacterClasses.h"

namespace Agent {

namespace {

constexpr std::uint64_t microsecondsPerSecond = 1000000;

bool consumeNumber(std::string_view & text, std::uint64_t & value, char end) {
   char const * const last = text.data() + text.size();
   auto const [at, error] = std::from_chars(text.data(), last, value);
   if (error != std::errc{} || at == last || (*at != end && *at != ';'))
      return false;
   text.remove_prefix(static_cast<std::size_t>(at - text.data()) + (*at == end ? 1 : 0));
   return true;
}

// The kernel writes "\x5c" for a backslash, and so for each byte that is not printable. Escapes of control
// characters stay: they could end the line or control a terminal.
char unescaped(std::string_view escape) {
   if (!escape.starts_with("\\x") || escape.size() < 4)
      return '\0';
   int const high = StorageDevices::hexDigitValue(escape[2]);
   int const low = StorageDevices::hexDigitValue(escape[3]);
   constexpr int base = 16;
   constexpr int deletion = 127;
   int const value = base * high + low;
   bool const isShown = (value >= ' ' && value != deletion) || value == '\t';
   return high >= 0 && low >= 0 && isShown ? static_cast<char>(value) : '\0';
}

std::string unescapedText(std::string_view text) {
   constexpr std::size_t escapeSize = 4;
   std::string result;
   result.reserve(text.size());
   for (std::size_t at = 0; at < text.size();) {
      char const character = text[at] == '\\' ? unescaped(text.substr(at, escapeSize)) : '\0';
      result += character != '\0' ? character : text[at];
      at += character != '\0' ? escapeSize : 1;
   }
   return result;
}

}  // namespace

std::optional<KernelRecord> kernelRecord(std::string_view record) {
   std::size_t const textAt = record.find(';');
   if (textAt == record.npos)
      return std::nullopt;
   constexpr std::uint64_t levels = 8;
   KernelRecord result;
   std::uint64_t priority = 0;
   std::string_view head = record.substr(0, textAt + 1);
   if (!consumeNumber(head, priority, ',') || !consumeNumber(head, result.sequence, ',') ||
       !consumeNumber(head, result.microseconds, ','))
      return std::nullopt;
   result.facility = static_cast<unsigned>(priority / levels);
   std::string_view const text = record.substr(textAt + 1);
   result.text = unescapedText(text.substr(0, text.find('\n')));
   return result;
}

std::string kernelLine(KernelRecord const & record) {
   constexpr std::size_t stampSize = 48;
   char stamp[stampSize];
   int const size =
       std::snprintf(stamp, sizeof stamp, "kernel: [%5llu.%06llu] ",
                     static_cast<unsigned long long>(record.microseconds / microsecondsPerSecond),
                     static_cast<unsigned long long>(record.microseconds % microsecondsPerSecond));
   std::string line{stamp, static_cast<std::size_t>(size)};
   std::size_t const textAt = line.size();
   line += record.text;
   constexpr std::string_view beginning = "kernel: [";
   for (auto at = line.find(beginning, textAt); at != line.npos; at = line.find(beginning, at))
      line[at + beginning.size() - 2] = '_';
   return line;
}

}  // namespace Agent
