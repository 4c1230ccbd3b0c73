// The rows of one disk in one resolution, oldest first, in a ring that grows up to a bound.
#pragma once

#include <boost/circular_buffer.hpp>

#include <cstddef>
#include <cstdint>

#include "agent/history/HistoryRow.h"

namespace Agent {

class HistoryRows {
 public:
   // 120,000 bytes: two resolutions of a disk stay below 256 KiB.
   static constexpr std::size_t mostRows = 5000;

   // Keeps what is not older than `span`.
   explicit HistoryRows(Vorn::Seconds span) : span_{span}, step_{span / mostRows} {}

   // Adds what was read; times must increase. An empty row is left out. Rows closer than a `mostRows`th part
   // of the span are joined. Where more than one and a half intervals lie between two rows, an empty row
   // between them shows that nothing was read. Allocates memory only while the ring grows; raises
   // std::bad_alloc where there is none for the first rows. Later the oldest rows make room.
   void add(HistoryRow const & row, Vorn::Seconds interval);

   // Adds a row as it was kept before, a row later than the latest one.
   void restore(HistoryRow const & row);

   // Rows are numbered as they come; the kept ones are those from `first` to before `end`.
   std::uint64_t first() const { return first_; }
   std::uint64_t end() const { return first_ + rows_.size(); }
   // Null for one that is not kept.
   HistoryRow const * row(std::uint64_t number) const;
   // The number of the first row at that time or later.
   std::uint64_t firstSince(Vorn::Seconds time) const;

   std::size_t size() const { return rows_.size(); }
   bool empty() const { return rows_.empty(); }
   HistoryRow const & front() const { return rows_.front(); }
   HistoryRow const & back() const { return rows_.back(); }

 private:
   static constexpr std::size_t growth = 256;

   bool isGapBefore(Vorn::Seconds time, Vorn::Seconds interval) const;
   void push(HistoryRow const & row);
   void makeRoom(Vorn::Seconds now);
   void grow();
   void join(HistoryRow const & row);

   Vorn::Seconds span_;
   Vorn::Seconds step_;
   boost::circular_buffer<HistoryRow> rows_;
   std::uint64_t first_ = 0;
   Vorn::Seconds latest_ = 0;  // the time of what was added last, joined or not
   unsigned rates_ = 0;        // readings behind the means of the newest row
   bool takesMore_ = false;    // whether readings may join the newest row
};

}  // namespace Agent
