// The verdict on a disk, and the reasons for it.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "runtime/Pelm/Node.h"
#include "runtime/Vorn/Seconds.h"

namespace Agent {

// From the best to the worst: of several the last one decides.
enum class Verdict { ok, unknown, warning, absent, failing };

inline constexpr std::array everyVerdict{Verdict::ok, Verdict::unknown, Verdict::warning, Verdict::absent,
                                         Verdict::failing};

// As documents spell it.
constexpr char const * verdictWord(Verdict verdict) {
   constexpr std::array words{"ok", "unknown", "warning", "absent", "failing"};
   return words.at(static_cast<std::size_t>(verdict));
}

struct Reason {
   char const * code;  // that of its rule
   Verdict verdict;
   std::string text;     // may contain names from the device
   Vorn::Seconds since;  // when its cause began, in framework time

   bool operator==(Reason const &) const = default;
};

// Immutable: a record is replaced when the verdict or a reason changes.
class DiskVerdict : public Pelm::Node {
 public:
   DiskVerdict(Verdict verdict, Vorn::Seconds since, std::vector<Reason> reasons)
       : verdict_{verdict}, since_{since}, reasons_{std::move(reasons)} {}

   // The verdict of the worst reason; ok without any.
   Verdict verdict() const { return verdict_; }
   // When it became this one, in framework time.
   Vorn::Seconds since() const { return since_; }
   // The worst first, else in the order of the rules.
   std::vector<Reason> const & reasons() const { return reasons_; }

   bool isEq(DiskVerdict const & other) const {
      return verdict_ == other.verdict_ && since_ == other.since_ && reasons_ == other.reasons_;
   }

 private:
   Verdict verdict_;
   Vorn::Seconds since_;
   std::vector<Reason> reasons_;
};

}  // namespace Agent
