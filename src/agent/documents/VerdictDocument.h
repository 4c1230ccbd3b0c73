// The verdicts on the disks as JSON.
#pragma once

#include "agent/documents/PiecedJson.h"
#include "agent/tools/Readings.h"
#include "agent/verdict/Verdicts.h"

namespace Agent {

// By serial number, absent disks included. `readings` has the wall clock and must outlive it.
JsonValue verdictsJson(DiskVerdicts const & disks, Readings const & readings);
// The figures behind them, without unknown ones; for an absent disk the last ones, and the disk itself.
JsonValue figuresJson(DiskVerdicts const & disks, StorageDevices::ConnectedDevices const & devices);
JsonValue unitJson(UnitVerdict unit);

// The members of a verdict. `utcOffset`: UTC minus framework time.
void writeVerdictMembers(Base::JsonWriter & writer, DiskVerdict const & verdict, Vorn::Seconds utcOffset);

// The members of a connected disk.
void writeDisk(Base::JsonWriter & writer, StorageDevices::ConnectedDisk const & disk);

}  // namespace Agent
