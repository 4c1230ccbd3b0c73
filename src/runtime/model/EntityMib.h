// The storage types under which the appliance's entity MIB lists a device.
#pragma once

#include "runtime/Vorn/EnumType.h"

namespace EntityMib {

class StorageType : public Vorn::EnumType<unsigned char, StorageType> {
 public:
   enum Value : unsigned char { unknown = 0, eUsb = 1, sataSsd = 2, eMmc = 3, nvme = 4 };
   static constexpr Vorn::EnumName<unsigned char> names[] = {
       {unknown, "unknown"}, {eUsb, "eUsb"}, {sataSsd, "sataSsd"}, {eMmc, "eMmc"}, {nvme, "nvme"}};
   using EnumType::EnumType;
};

}  // namespace EntityMib
