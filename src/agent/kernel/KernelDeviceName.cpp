#include "agent/kernel/KernelDeviceName.h"

#include <array>

#include "StorageDevices/TextCursor.h"

namespace Agent {

namespace {

using StorageDevices::between;
using StorageDevices::Cursor;
using StorageDevices::isDigit;
using StorageDevices::isLower;

bool consumeDigits(Cursor & cursor) {
   return cursor.consumeRun<isDigit>();
}

// Whether the rest is a partition's suffix, such as "p2".
bool isPartition(Cursor cursor) {
   return cursor.consume("p") && consumeDigits(cursor) && cursor.rest().empty();
}

// A disk named by letters, such as "sda"; a number that follows is its partition's.
std::string letteredDisk(std::string_view name) {
   for (std::string_view const family : {"sd", "vd", "hd", "xvd"}) {
      Cursor cursor{name.data(), name.data() + name.size()};
      if (!cursor.consume(family) || !cursor.consumeRun<isLower>())
         continue;
      std::string_view const disk = between(name.data(), cursor.at);
      if (consumeDigits(cursor) && cursor.rest().empty())
         return std::string{disk};
   }
   return {};
}

std::string card(Cursor cursor) {
   auto const * const name = cursor.at;
   if (!cursor.consume("mmcblk") || !consumeDigits(cursor))
      return {};
   std::string disk{between(name, cursor.at)};
   bool const isArea = cursor.consume("boot") || cursor.consume("gp");
   if (isPartition(cursor) || cursor.rest() == "rpmb" ||
       (isArea && consumeDigits(cursor) && cursor.rest().empty()))
      return disk;
   return {};
}

std::string nvmeNamespace(Cursor cursor) {
   auto const * const name = cursor.at;
   if (!cursor.consume("nvme") || !consumeDigits(cursor))
      return {};
   std::string const subsystem{between(name, cursor.at)};
   if (cursor.consume("c") && !consumeDigits(cursor))
      return {};
   auto const * const number = cursor.at;
   if (!cursor.consume("n") || !consumeDigits(cursor))
      return {};
   std::string const disk = subsystem + std::string{between(number, cursor.at)};
   return cursor.rest().empty() || isPartition(cursor) ? disk : std::string{};
}

// A disk named by a number, such as "mmcblk0"; a "p" separates the partition's number.
std::string numberedDisk(Cursor cursor) {
   auto const * const name = cursor.at;
   if (!cursor.consumeRun<isLower>() || !consumeDigits(cursor))
      return {};
   return isPartition(cursor) ? std::string{between(name, cursor.at)} : std::string{};
}

// "md0" is a software RAID, "drbd0" a mirror over the network, "bcache0" a disk with its cache.
bool isOnSeveralDisks(Cursor cursor) {
   bool const isKnown = cursor.consume("md") || cursor.consume("drbd") || cursor.consume("bcache");
   return isKnown && consumeDigits(cursor) && (cursor.rest().empty() || isPartition(cursor));
}

}  // namespace

std::string wholeDisk(std::string_view name) {
   if (name.starts_with("usb "))
      return std::string{name.substr(0, name.find(':'))};
   Cursor const cursor{name.data(), name.data() + name.size()};
   if (isOnSeveralDisks(cursor))
      return {};
   for (std::string const & disk :
        std::array{letteredDisk(name), card(cursor), nvmeNamespace(cursor), numberedDisk(cursor)})
      if (!disk.empty())
         return disk;
   return std::string{name};
}

}  // namespace Agent
