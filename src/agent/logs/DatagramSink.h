// The log on a collector's Unix datagram socket: the journal's, or syslog's.
//
// The libraries' own functions (sd_journal_send, syslog) wait for a collector that reads nothing, and report
// success where there is none. Here both are outcomes.
#pragma once

#include <string>

#include "agent/logs/LogForms.h"
#include "agent/logs/LogSink.h"
#include "base/UniqueFd.h"
#include "base/UnixAddress.h"

namespace Agent {

class DatagramSink : public LogSink {
 public:
   // A collector may appear, end and be restarted at the path at any time. Raises std::length_error for a
   // path that is too long for a socket.
   DatagramSink(char const * name, std::string path, LogForm form);

   char const * name() const override { return name_; }
   std::string formOf(LogEntry const & entry) const override { return form_(entry); }
   Outcome send(std::string_view line) override;
   int descriptor() const override { return socket_.get(); }
   // "PATH: No such file or directory".
   std::string absence() const override;

 private:
   // Afterwards `descriptor` is writable when the collector has room. Answers whether there is one.
   bool connect();
   Outcome sendConnected(std::string_view line);

   char const * name_;
   std::string path_;
   LogForm form_;
   Base::UnixAddress address_;
   Base::UniqueFd socket_;
   int error_ = 0;
};

}  // namespace Agent
