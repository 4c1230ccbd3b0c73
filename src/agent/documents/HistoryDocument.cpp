#include "agent/documents/HistoryDocument.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "agent/documents/PiecedJson.h"

namespace Agent {

namespace {

// Rows of a part, which is then about a kilobyte.
constexpr std::uint64_t partRows = 64;

// Whose rows, and which of them: those of the moment when the answer begins. Numbers, not rows: rows may be
// dropped between two pieces, and the history forgotten.
class Selection {
 public:
   Selection(History const & history, Pelm::String serial, Vorn::Seconds since)
       : history_{history}, serial_{std::move(serial)} {
      if (DiskHistory const * const disk = history_.disk(serial_)) {
         identity_ = disk->identity();
         range_ = disk->since(since);
         size_ = range_.size();
      }
   }

   std::uint64_t size() const { return size_; }
   // Leaves out the rows from this one on.
   void endIs(std::uint64_t index) { size_ = index; }
   // Null for a row that is kept no more.
   HistoryRow const * row(std::uint64_t index) const {
      DiskHistory const * const disk = history_.disk(serial_);
      return disk && disk->identity() == identity_ ? disk->row(range_, index) : nullptr;
   }

 private:
   History const & history_;
   Pelm::String serial_;
   std::uint64_t identity_ = 0;
   DiskHistory::Range range_;
   std::uint64_t size_ = 0;
};

// With as many digits as the figure has a meaning.
void writeRounded(Base::JsonWriter & writer, double value, double digits) {
   if (std::isfinite(value))
      writer.Double(std::round(value * digits) / digits);
   else
      writer.Null();
}

// An array with a value per row. `gone(writer, index)` handles a row that is kept no more.
template <class Write, class Gone>
JsonValue columnJson(std::shared_ptr<Selection> rows, Write write, Gone gone) {
   return [rows = std::move(rows), write, gone, at = std::uint64_t{0}](Base::JsonWriter & writer) mutable {
      if (at == 0)
         writer.StartArray();
      for (std::uint64_t const stop = at + partRows; at < std::min(stop, rows->size()); ++at)
         if (HistoryRow const * const row = rows->row(at))
            write(writer, *row);
         else
            gone(writer, at);
      if (at < rows->size())
         return true;
      writer.EndArray();
      return false;
   };
}

// The first column, which decides on the number of rows: it ends where its reader is overtaken.
JsonValue timesJson(std::shared_ptr<Selection> const & rows, Vorn::Seconds utcOffset) {
   constexpr double thousandth = 1000;
   return columnJson(
       rows,
       [utcOffset](Base::JsonWriter & writer, HistoryRow const & row) {
          writeRounded(writer, (row.time + utcOffset).value(), thousandth);
       },
       [rows](Base::JsonWriter &, std::uint64_t index) { rows->endIs(index); });
}

JsonValue figureJson(std::shared_ptr<Selection> const & rows, float HistoryRow::*figure, double digits) {
   return columnJson(
       rows,
       [figure, digits](Base::JsonWriter & writer, HistoryRow const & row) {
          writeRounded(writer, row.*figure, digits);
       },
       [](Base::JsonWriter & writer, std::uint64_t) { writer.Null(); });
}

}  // namespace

std::unique_ptr<Document> historyDocument(History const & history, Pelm::String const & serial,
                                          unsigned hours, Vorn::Seconds utcOffset) {
   constexpr double secondsPerHour = 3600;
   constexpr double whole = 1;
   constexpr double tenth = 10;
   constexpr double hundredth = 100;
   Vorn::Seconds const since = Vorn::System::currentTime() - hours * secondsPerHour;
   auto const rows = std::make_shared<Selection>(history, serial, since);
   return std::make_unique<PiecedJson>(
       JsonMembers{}
           .add("time", timesJson(rows, utcOffset))
           .add("temperature", figureJson(rows, &HistoryRow::temperature, tenth))
           .add("lifeLeft", figureJson(rows, &HistoryRow::lifeLeft, hundredth))
           .add("readBytesPerSecond", figureJson(rows, &HistoryRow::readBytesPerSecond, whole))
           .add("writtenBytesPerSecond", figureJson(rows, &HistoryRow::writtenBytesPerSecond, whole)));
}

}  // namespace Agent
