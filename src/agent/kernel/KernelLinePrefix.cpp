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

bool isBlankOrTab(char c) {
   return c == ' ' || c == '\t';
}

bool isOfCaller(char c) {
   return isAlnum(c) || isBlankOrTab(c) || std::string_view{":/@,._+-"}.find(c) != std::string_view::npos;
}

// "<6>"
bool consumeLevel(Cursor & cursor) {
   Cursor level = cursor;
   if (!level.consume("<") || !level.consumeRun<isDigit>() || !level.consume(">"))
      return false;
   cursor = level;
   return true;
}

// The writer: a thread or a processor.
bool consumeCaller(Cursor & cursor) {
   Cursor caller = cursor;
   if (caller.consume("("))
      if (!caller.consumeRun<isDigit>() || !caller.consume(")"))
         return false;
   if (!caller.rest().starts_with("["))
      caller.consumeOne<isLetter>();
   if (!caller.consume("["))
      return false;
   caller.run<isBlankOrTab>();
   bool const isNumbered = caller.consume("T") || caller.consume("C") || caller.consume("c");
   if (!caller.consumeRun<isDigit>())
      return false;
   bool const isList = caller.rest().starts_with(":") || caller.rest().starts_with(",");
   if (!isNumbered && !isList)
      return false;
   caller.run<isOfCaller>();
   if (!caller.consume("]"))
      return false;
   cursor = caller;
   return true;
}

// "003: ", the processor in real-time kernels.
bool consumeProcessor(Cursor & cursor) {
   Cursor processor = cursor;
   if (processor.run<isDigit>().size() != 3 || !processor.consume(": "))
      return false;
   cursor = processor;
   return true;
}

// "kernel: [    5.123456]". Skips a level before the bracket, and a processor in it: "[    5.123456@1]".
bool consumeStamp(Cursor & cursor, KernelLinePrefix & prefix) {
   if (!cursor.consume("kernel: "))
      return false;
   consumeLevel(cursor);
   auto const * const begin = cursor.at;
   if (!cursor.consume("["))
      return false;
   cursor.run<isBlankOrTab>();
   auto const * const number = cursor.at;
   if (!cursor.consumeRun<isDigit>() || !cursor.consume(".") || !cursor.consumeRun<isDigit>())
      return false;
   auto const * const end = cursor.at;
   cursor.run<isOfCaller>();
   if (!cursor.consume("]"))
      return false;
   double seconds = 0;
   std::from_chars(number, end, seconds);
   prefix.stamp = seconds;
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
   if (!consumeStamp(cursor, prefix))
      return std::nullopt;
   cursor.run<isBlankOrTab>();
   while (consumeLevel(cursor) || consumeCaller(cursor) || consumeProcessor(cursor) ||
          cursor.consume("kernel: "))
      cursor.run<isBlankOrTab>();
   prefix.text = cursor.rest();
   return prefix;
}

}  // namespace Agent
