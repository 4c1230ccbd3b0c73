#include "agent/history/HistoryRows.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace Agent {

namespace {

void joinMean(float & mean, float value, unsigned count) {
   if (std::isnan(mean))
      mean = value;
   else if (!std::isnan(value))
      mean += (value - mean) / static_cast<float>(count);
}

unsigned ratesIn(HistoryRow const & row) {
   return std::isnan(row.readBytesPerSecond) ? 0 : 1;
}

}  // namespace

void HistoryRows::add(HistoryRow const & row, Vorn::Seconds interval) {
   if (row.isEmpty())
      return;
   bool const gap = isGapBefore(row.time, interval);
   makeRoom(row.time);
   if (gap)
      push({latest_ + std::max(interval, step_)});
   if (!gap && takesMore_ && row.time - back().time < step_)
      join(row);
   else
      push(row);
   latest_ = row.time;
}

void HistoryRows::restore(HistoryRow const & row) {
   makeRoom(row.time);
   push(row);
   latest_ = row.time;
   takesMore_ = false;
}

// A gap takes a row more, so it is two steps long at least: rows are a step apart on average.
bool HistoryRows::isGapBefore(Vorn::Seconds time, Vorn::Seconds interval) const {
   constexpr double lateness = 1.5;
   return !empty() && !back().isEmpty() && time - latest_ > std::max(interval * lateness, step_ * 2);
}

// For two rows.
void HistoryRows::makeRoom(Vorn::Seconds now) {
   while (!empty() && front().time < now - span_) {
      rows_.pop_front();
      ++first_;
   }
   if (rows_.reserve() < 2 && rows_.capacity() < mostRows)
      grow();
}

void HistoryRows::grow() {
   try {
      rows_.set_capacity(std::min(rows_.capacity() + growth, mostRows));
   } catch (std::bad_alloc const &) {
      if (rows_.capacity() == 0)
         throw;
   }
}

void HistoryRows::push(HistoryRow const & row) {
   first_ += rows_.full() ? 1 : 0;
   rows_.push_back(row);
   rates_ = ratesIn(row);
   takesMore_ = true;
}

void HistoryRows::join(HistoryRow const & row) {
   HistoryRow & newest = rows_.back();
   newest.temperature = std::fmax(newest.temperature, row.temperature);
   newest.lifeLeft = std::fmin(newest.lifeLeft, row.lifeLeft);
   rates_ += ratesIn(row);
   joinMean(newest.readBytesPerSecond, row.readBytesPerSecond, rates_);
   joinMean(newest.writtenBytesPerSecond, row.writtenBytesPerSecond, rates_);
}

HistoryRow const * HistoryRows::row(std::uint64_t number) const {
   return number >= first_ && number < end() ? &rows_[number - first_] : nullptr;
}

std::uint64_t HistoryRows::firstSince(Vorn::Seconds time) const {
   auto const found = std::partition_point(rows_.begin(), rows_.end(),
                                           [time](HistoryRow const & row) { return row.time < time; });
   return first_ + static_cast<std::uint64_t>(found - rows_.begin());
}

}  // namespace Agent
