// The history of one disk: a day as it was read, and longer times in a coarser resolution.
#pragma once

#include <cstdint>
#include <optional>

#include "agent/history/HistoryRows.h"

namespace Agent {

class DiskHistory {
 public:
   // Keeps that span, at most 256 KiB of it.
   explicit DiskHistory(Vorn::Seconds span);

   // No other history of this process has it: a disk that was forgotten and comes back has a new one.
   std::uint64_t identity() const { return identity_; }

   // See `HistoryRows::add`.
   void add(HistoryRow const & row, Vorn::Seconds interval);

   // Numbers of rows: first of the coarse ones, then of those as they were read.
   struct Range {
      std::uint64_t coarse = 0;
      std::uint64_t coarseEnd = 0;
      std::uint64_t fine = 0;
      std::uint64_t fineEnd = 0;

      std::uint64_t size() const { return coarseEnd - coarse + fineEnd - fine; }
   };

   // All rows since that time, none twice.
   Range since(Vorn::Seconds time) const;
   // `index` is below the size of the range. Null for a row that is kept no more.
   HistoryRow const * row(Range const & range, std::uint64_t index) const;

   // Empty without rows.
   std::optional<Vorn::Seconds> latest() const;

   HistoryRows const & fine() const { return fine_; }
   HistoryRows & fine() { return fine_; }
   // Empty where a day is all that is kept.
   std::optional<HistoryRows> const & coarse() const { return coarse_; }
   std::optional<HistoryRows> & coarse() { return coarse_; }

 private:
   std::uint64_t identity_;
   HistoryRows fine_;
   std::optional<HistoryRows> coarse_;
};

}  // namespace Agent
