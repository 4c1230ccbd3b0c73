#include "agent/history/DiskHistory.h"

#include <algorithm>

namespace Agent {

namespace {

constexpr Vorn::Seconds day = 86400;

std::uint64_t nextIdentity() {
   static std::uint64_t latest = 0;
   return ++latest;
}

}  // namespace

DiskHistory::DiskHistory(Vorn::Seconds span) : identity_{nextIdentity()}, fine_{std::min(span, day)} {
   if (span > day)
      coarse_.emplace(span);
}

void DiskHistory::add(HistoryRow const & row, Vorn::Seconds interval) {
   fine_.add(row, interval);
   if (coarse_)
      coarse_->add(row, interval);
}

DiskHistory::Range DiskHistory::since(Vorn::Seconds time) const {
   Range range;
   range.fine = fine_.firstSince(time);
   range.fineEnd = fine_.end();
   if (!coarse_)
      return range;
   range.coarseEnd = fine_.empty() ? coarse_->end() : coarse_->firstSince(fine_.front().time);
   range.coarse = std::min(coarse_->firstSince(time), range.coarseEnd);
   return range;
}

HistoryRow const * DiskHistory::row(Range const & range, std::uint64_t index) const {
   std::uint64_t const coarse = range.coarseEnd - range.coarse;
   if (index >= coarse)
      return fine_.row(range.fine + index - coarse);
   return coarse_ ? coarse_->row(range.coarse + index) : nullptr;
}

std::optional<Vorn::Seconds> DiskHistory::latest() const {
   return fine_.empty() ? std::nullopt : std::optional{fine_.back().time};
}

}  // namespace Agent
