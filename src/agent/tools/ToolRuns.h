// The results of the monitors' tool runs: counts since the start, and the latest runs.
#pragma once

#include <prometheus/histogram.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>

#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/Vorn/Seconds.h"

namespace Agent {

class ToolRuns {
 public:
   static constexpr std::size_t kept = 32;

   struct Ended {
      Pelm::Ptr<Brul::FinishedRun const> run;
      Vorn::Seconds utc;
   };

   // The runs of one tool, by result.
   struct OfTool {
      std::uint64_t ok = 0;
      std::uint64_t failed = 0;  // within the time limit
      std::uint64_t timedOut = 0;
      prometheus::Histogram seconds{{0.01, 0.03, 0.1, 0.3, 1, 3, 10, 30, 60}};
   };

   // Counts the tracker's runs from its construction on.
   explicit ToolRuns(Pelm::Ptr<Brul::ChildProcessTrackerSm const> const & tracker);

   std::uint64_t runs() const { return runs_; }
   // Failed runs, and those of them that exceeded their time limit.
   std::uint64_t failed() const { return failed_; }
   std::uint64_t timedOut() const { return timedOut_; }

   // By the tool's name; those that have run.
   std::map<std::string, OfTool> const & byTool() const { return byTool_; }

   // The latest runs, newest last.
   std::deque<Ended> const & last() const { return last_; }

   void handleFinishedRun(Vorn::Change<Pelm::Ptr<Brul::FinishedRun const>> const & change);

 private:
   void countTool(Brul::FinishedRun const & run);

   std::uint64_t runs_ = 0;
   std::uint64_t failed_ = 0;
   std::uint64_t timedOut_ = 0;
   std::map<std::string, OfTool> byTool_;
   std::deque<Ended> last_;
   Vorn::NotifieeConst reactor_;
};

}  // namespace Agent
