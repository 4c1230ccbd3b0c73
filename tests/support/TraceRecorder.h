// Keeps what facilities trace while it lives.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/host/Trace.h"

namespace Support {

class TraceRecorder {
 public:
   struct Line {
      std::string facility;
      int level;
      std::string text;

      bool operator==(Line const &) const = default;
   };

   // Each facility with the highest level to record of it.
   TraceRecorder(std::initializer_list<std::pair<char const *, int>> facilities) {
      Vorn::Host::traceSinkIs([this](Vorn::Host::TraceLine const & line) {
         if (std::find(facilities_.begin(), facilities_.end(), line.facility) != facilities_.end())
            lines_.push_back({std::string{line.facility}, line.level, line.text});
      });
      for (auto const & [facility, level] : facilities) {
         facilities_.emplace_back(facility);
         Vorn::Host::traceLevelIs(facility, level);
      }
   }
   TraceRecorder(TraceRecorder const &) = delete;
   TraceRecorder & operator=(TraceRecorder const &) = delete;
   ~TraceRecorder() {
      Vorn::Host::traceSinkIs(nullptr);
      for (std::string const & facility : facilities_)
         Vorn::Host::traceLevelIs(facility, 0);
   }

   std::vector<Line> const & lines() const { return lines_; }
   std::vector<std::string> texts(int level) const {
      std::vector<std::string> result;
      for (Line const & line : lines_)
         if (line.level == level)
            result.push_back(line.text);
      return result;
   }
   std::vector<std::string> errors() const { return texts(0); }
   std::ptrdiff_t count(int level, std::string_view text) const {
      return std::count_if(lines_.begin(), lines_.end(),
                           [&](Line const & line) { return line.level == level && line.text == text; });
   }
   void clear() { lines_.clear(); }
   // From now on records what is traced up to that level.
   void levelsAre(int level) const {
      for (std::string const & facility : facilities_)
         Vorn::Host::traceLevelIs(facility, level);
   }

 private:
   std::vector<std::string> facilities_;
   std::vector<Line> lines_;
};

}  // namespace Support
