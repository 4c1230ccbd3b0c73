// The history of every disk: what its records say after each poll, kept in memory.
//
// Inputs: the records and the poll interval. Output: a row per disk and interval, taken some seconds after
// the monitors have begun to read. A disk that goes keeps its history: it continues where the disk comes
// back.
#pragma once

#include <cstddef>
#include <map>

#include "agent/Entities.h"
#include "agent/history/DiskHistory.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/Notifiee.h"

namespace Agent {

class History {
 public:
   // Of more disks that are gone, those without a reading for the longest time are forgotten.
   static constexpr std::size_t mostGone = 64;

   using Disks = std::map<Pelm::String, DiskHistory>;

   // Keeps that span of framework time; 0: nothing. The entities must outlive this.
   History(Entities const & entities, Vorn::Seconds span);

   // By serial number. A disk of which nothing was read yet may be missing.
   Disks const & disks() const { return disks_; }
   // Null without one.
   DiskHistory const * disk(Pelm::String const & serial) const;

   // The history that begins for a disk, to be filled with rows kept before. Replaces one that is there.
   DiskHistory & diskIs(Pelm::String const & serial);

   // Forgets disks that are not connected.
   void forgetGone();

   Vorn::Seconds span() const { return span_; }

 private:
   void handleClock();
   void handleInterval();
   void addRows(Vorn::Seconds now, Vorn::Seconds interval);
   void forgetOld(Vorn::Seconds now);
   bool isConnected(Pelm::String const & serial) const;

   Entities const & entities_;
   Vorn::Seconds span_;
   Vorn::Seconds lastInterval_ = 0;  // of the row before
   Disks disks_;
   Vorn::Clock::Notifiee<&History::handleClock> clock_{*this};
   Vorn::NotifieeConst intervalReactor_;
};

}  // namespace Agent
