#include "agent/kernel/KernelLinePrefix.h"

#include <charconv>

#include "StorageDevices/TextCursor.h"

namespace Agent {

namespace {

using StorageDevices::between;
using StorageDevices::Cursor;
using StorageDevices::isAlnum;
using StorageDevices::isDigit;
using StorageDevices::isLetter;

bool isBlank(char c) {
   return c == ' ' || c == '\t';
}

bool isOfCaller(char c) {
   return isAlnum(c) || isBlank(c) || std::string_view{":/@,._+-"}.find(c) != std::string_view::npos;
}

// "<6>"
bool takesLevel(Cursor & cursor) {
   Cursor level = cursor;
   if (!level.takes("<") || !level.takesRun<isDigit>() || !level.takes(">"))
      return false;
   cursor = level;
   return true;
}

// Who said it: thread or processor.
bool takesCaller(Cursor & cursor) {
   Cursor caller = cursor;
   if (caller.takes("("))
      if (!caller.takesRun<isDigit>() || !caller.takes(")"))
         return false;
   if (!caller.rest().starts_with("["))
      caller.takesOne<isLetter>();
   if (!caller.takes("["))
      return false;
   caller.run<isBlank>();
   bool const isNumbered = caller.takes("T") || caller.takes("C") || caller.takes("c");
   if (!caller.takesRun<isDigit>())
      return false;
   bool const isList = caller.rest().starts_with(":") || caller.rest().starts_with(",");
   if (!isNumbered && !isList)
      return false;
   caller.run<isOfCaller>();
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

// "kernel: [    5.123456]"; a level before the bracket and a processor in it, "[    5.123456@1]", are left
// out.
bool takesStamp(Cursor & cursor, KernelLinePrefix & prefix) {
   if (!cursor.takes("kernel: "))
      return false;
   takesLevel(cursor);
   auto const * const begin = cursor.at;
   if (!cursor.takes("["))
      return false;
   cursor.run<isBlank>();
   auto const * const number = cursor.at;
   if (!cursor.takesRun<isDigit>() || !cursor.takes(".") || !cursor.takesRun<isDigit>())
      return false;
   auto const * const end = cursor.at;
   cursor.run<isOfCaller>();
   if (!cursor.takes("]"))
      return false;
   std::from_chars(number, end, prefix.seconds);
   prefix.head.append("kernel: ").append(between(begin, end)).append("] ");
   return true;
}

}  // namespace

std::optional<KernelLinePrefix> kernelLinePrefix(std::string_view line) {
   std::size_t const at = line.find("kernel: ");
   if (at == line.npos)
      return std::nullopt;
   KernelLinePrefix prefix;
   prefix.head = line.substr(0, at);
   Cursor cursor{line.data() + at, line.data() + line.size()};
   if (!takesStamp(cursor, prefix))
      return std::nullopt;
   cursor.run<isBlank>();
   while (takesLevel(cursor) || takesCaller(cursor) || takesProcessor(cursor) || cursor.takes("kernel: "))
      cursor.run<isBlank>();
   prefix.text = cursor.rest();
   return prefix;
}

}  // namespace Agent
