#include "agent/kernel/KernelDeviceName.h"

#include <array>

#include "StorageDevices/TextCursor.h"

namespace Agent {

namespace {

using StorageDevices::between;
using StorageDevices::Cursor;
using StorageDevices::isDigit;
using StorageDevices::isLower;

bool takesNumber(Cursor & cursor) {
   return cursor.takesRun<isDigit>();
}

// "p2" at the end.
bool isPartition(Cursor cursor) {
   return cursor.takes("p") && takesNumber(cursor) && cursor.rest().empty();
}

// Disks called by letters: a number behind them is a partition's.
std::string letteredDisk(std::string_view name) {
   for (std::string_view const family : {"sd", "vd", "hd", "xvd"}) {
      Cursor cursor{name.data(), name.data() + name.size()};
      if (!cursor.takes(family) || !cursor.takesRun<isLower>())
         continue;
      std::string_view const disk = between(name.data(), cursor.at);
      if (takesNumber(cursor) && cursor.rest().empty())
         return std::string{disk};
   }
   return {};
}

std::string card(Cursor cursor) {
   auto const * const name = cursor.at;
   if (!cursor.takes("mmcblk") || !takesNumber(cursor))
      return {};
   std::string disk{between(name, cursor.at)};
   bool const isArea = cursor.takes("boot") || cursor.takes("gp");
   if (isPartition(cursor) || cursor.rest() == "rpmb" ||
       (isArea && takesNumber(cursor) && cursor.rest().empty()))
      return disk;
   return {};
}

std::string nvmeNamespace(Cursor cursor) {
   auto const * const name = cursor.at;
   if (!cursor.takes("nvme") || !takesNumber(cursor))
      return {};
   std::string const subsystem{between(name, cursor.at)};
   if (cursor.takes("c") && !takesNumber(cursor))
      return {};
   auto const * const number = cursor.at;
   if (!cursor.takes("n") || !takesNumber(cursor))
      return {};
   std::string const disk = subsystem + std::string{between(number, cursor.at)};
   return cursor.rest().empty() || isPartition(cursor) ? disk : std::string{};
}

// Disks called by a number: "p" separates that of a partition.
std::string numberedDisk(Cursor cursor) {
   auto const * const name = cursor.at;
   if (!cursor.takesRun<isLower>() || !takesNumber(cursor))
      return {};
   return isPartition(cursor) ? std::string{between(name, cursor.at)} : std::string{};
}

// "md0" is a software RAID, the others a mirror over the network and a disk with its cache.
bool isOnSeveralDisks(Cursor cursor) {
   bool const isKnown = cursor.takes("md") || cursor.takes("drbd") || cursor.takes("bcache");
   return isKnown && takesNumber(cursor) && (cursor.rest().empty() || isPartition(cursor));
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
