// The storage types under which the appliance's entity MIB lists a device. The numbers are part of the served
// state, so they stay as they are.
#pragma once

#include "runtime/Vorn/EnumType.h"

namespace EntityMib {

// `unknown`: a removable disk, or one that no collector has identified yet. `eUsb`: a disk with a SCSI name
// that the kernel takes for rotating, as it does with embedded USB flash. `sataSsd`: one that does not
// rotate.
class StorageType : public Vorn::EnumType<unsigned char, StorageType> {
 public:
   enum Value : unsigned char { unknown = 0, eUsb = 1, sataSsd = 2, eMmc = 3, nvme = 4 };
   static constexpr Vorn::EnumName<unsigned char> names[] = {
       {unknown, "unknown"}, {eUsb, "eUsb"}, {sataSsd, "sataSsd"}, {eMmc, "eMmc"}, {nvme, "nvme"}};
   using EnumType::EnumType;
};

}  // namespace EntityMib
