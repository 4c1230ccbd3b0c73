// The file in which the history survives a restart of the agent: read once, written every ten minutes and at
// the end. A new file takes the place of the old one when it is whole and on the medium, so an agent that is
// killed leaves the old one.
//
// A disk is written per turn of the loop. A file that is not of this program is never replaced.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agent/history/History.h"
#include "agent/history/HistoryFileText.h"
#include "base/UniqueFd.h"

namespace Agent {

class HistoryFile {
 public:
   // A line for the operator, with its syslog severity.
   using Notice = std::function<void(int severity, std::string const & text)>;
   // UTC minus framework time. Rows have times in UTC in the file.
   using UtcOffset = std::function<Vorn::Seconds()>;

   // An empty path: no file. Adds what a good file has to the history: rows within its span, and not later
   // than now, since the clock may have been set back. Reports any other file in one line. The history must
   // outlive this.
   HistoryFile(std::string path, History & history, UtcOffset utcOffset, Notice notice);

   // Writes all at once. Disks beyond `mostHistoryBytes` are left out. A failure is reported once, until it
   // is another one.
   void write();

 private:
   struct Writing {
      Base::UniqueFd file;
      std::size_t bytes = 0;
      HistoryTextWriter text{};
      std::vector<Pelm::String> serials{};  // in the order of writing
      std::size_t at = 0;
   };

   void read();
   void take(std::string const & text);
   void restore(HistoryOfText const & text);
   std::size_t restoreDisk(DiskOfText const & disk);
   void handleClock();
   void begin();
   void writeDisk();
   void finish();
   void writePart(std::string const & part);
   int replace() const;
   void fails(int error);

   std::string path_;
   std::string temporary_ = path_ + ".new";
   History & history_;
   UtcOffset utcOffset_;
   Notice notice_;
   bool isOurs_ = true;  // false: another program's file is there
   std::optional<Writing> writing_;
   int failure_ = 0;  // the reported error
   Vorn::Clock::Notifiee<&HistoryFile::handleClock> clock_{*this};
};

}  // namespace Agent
