#include "agent/KernelLineRewrite.h"

#include <algorithm>

#include "StorageDevices/KernelLine.h"
#include "agent/KernelDeviceName.h"
#include "agent/KernelErrorWords.h"
#include "agent/KernelErrors.h"

namespace Agent {

namespace {

using StorageDevices::between;
using StorageDevices::Cursor;
using StorageDevices::isDigit;

// The line with the disk in place of a partition, or empty when the library reads no disk's name from it.
std::string withDisk(std::string_view line) {
   auto const device = StorageDevices::deviceInKernelLine(line);
   std::string const disk = device ? wholeDisk(*device) : std::string{};
   if (disk.empty())
      return {};
   std::string result{between(line.data(), device->data())};
   result += disk;
   return result.append(device->data() + device->size(), line.data() + line.size());
}

bool isBlank(char c) {
   return c == ' ';
}

// "kernel: [    5.123456]"
bool takesStamp(Cursor & cursor) {
   if (!cursor.takes("kernel: ["))
      return false;
   cursor.run<isBlank>();
   return cursor.takesRun<isDigit>() && cursor.takes(".") && cursor.takesRun<isDigit>() && cursor.takes("]");
}

// Who said it, thread or processor: "[  T123]", "[C0]", of some makers' kernels "I[7:  swapper/7:    0]".
bool takesCaller(Cursor & cursor) {
   Cursor caller = cursor;
   if (!caller.rest().starts_with("["))
      caller.takesOne<StorageDevices::isLetter>();
   if (!caller.takes("["))
      return false;
   caller.run<isBlank>();
   bool const isNumbered = caller.takes("T") || caller.takes("C");
   if (!caller.takesRun<isDigit>() || (!isNumbered && !caller.takes(":")))
      return false;
   if (!isNumbered) {
      constexpr std::size_t longest = 64;
      std::size_t const end = caller.rest().substr(0, longest).find(']');
      if (end == std::string_view::npos)
         return false;
      caller.at += end;
   }
   if (!caller.takes("]"))
      return false;
   cursor = caller;
   return true;
}

// "003: ", the processor in real-time kernels.
bool takesProcessor(Cursor & cursor) {
   Cursor processor = cursor;
   if (processor.run<isDigit>().size() != 3 || !processor.takes(": "))
      return false;
   cursor = processor;
   return true;
}

void takePrefixes(Cursor & cursor) {
   cursor.run<isBlank>();
   while (takesCaller(cursor) || takesProcessor(cursor) || cursor.takes("kernel: "))
      cursor.run<isBlank>();
}

// What the readers of errors make of the text, if the library will read the device from it. It does not from
// what a stray stamp or the line's end spoils.
std::string asError(std::string const & head, std::string_view text) {
   for (auto const reader : {driverError, blockError})
      if (std::string const words = reader(text); !words.empty())
         return withDisk((head + words).substr(0, kernelLineSize));
   return {};
}

std::string rewritten(std::string_view line) {
   if (std::string result = withDisk(line); !result.empty())
      return result;
   Cursor cursor = cursorOf(line);
   if (!takesStamp(cursor))
      return std::string{line};
   std::string head{between(line.data(), cursor.at)};
   head += ' ';
   takePrefixes(cursor);
   if (std::string result = withDisk(head + std::string{cursor.rest()}); !result.empty())
      return result;
   std::string const result = asError(head, cursor.rest());
   return result.empty() ? std::string{line} : result;
}

}  // namespace

std::string rewriteKernelLine(std::string_view line) {
   line = line.substr(0, kernelLineSize);
   std::string result = rewritten(line.substr(0, line.find('\0')));
   result.resize(std::min(result.size(), kernelLineSize));
   return result;
}

}  // namespace Agent
