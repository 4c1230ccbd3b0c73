#include "agent/logs/StderrLog.h"

#include <poll.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstddef>
#include <thread>
#include <utility>

#include "base/Text.h"
#include "runtime/Vorn/BlockingCall.h"
#include "runtime/Vorn/Seconds.h"
#include "runtime/host/Failure.h"

namespace Agent {

namespace {

// A pipe that is ready accepts this many bytes without blocking.
constexpr std::size_t maxLine = PIPE_BUF;

std::string now() {
   return Base::utcTime(Vorn::System::currentTimeUtc().value());
}

// A text from a device, spelled as in the state document.
std::string shown(std::string_view text) {
   return Base::escaped(Base::validUtf8(text));
}

std::string noticeLine(int severity, std::string_view text) {
   return now() + " " + std::string{Base::severityWord(severity)} + " storagedevices: " + Base::escaped(text);
}

// Cuts the text so that the line and its end fit. A cut must not split a UTF-8 character.
void bound(std::string & text) {
   constexpr std::string_view mark = "…";
   std::size_t const room = maxLine - mark.size() - 1;
   if (text.size() <= room + mark.size())
      return;
   std::size_t end = room;
   while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0U) == 0x80U)
      --end;
   text.resize(end);
   text += mark;
}

}  // namespace

StderrLog::StderrLog(int fd) : fd_{fd} {
   Vorn::Host::logSinkIs([this](Vorn::Host::LogMessage const & logged) { message(logged); });
   Vorn::Host::traceSinkIs([this](Vorn::Host::TraceLine const & traced) { trace(traced); });
   Vorn::Host::failureSinkIs([this](std::string_view machine, std::string_view what) {
      notice(LOG_ERR, std::string{"a handler of "}.append(machine).append(" failed: ").append(what));
   });
}

StderrLog::~StderrLog() {
   Vorn::Host::logSinkIs(nullptr);
   Vorn::Host::traceSinkIs(nullptr);
   Vorn::Host::failureSinkIs(nullptr);
}

void StderrLog::notice(int severity, std::string_view text) {
   line(noticeLine(severity, text));
}

void StderrLog::noticeFromOtherThread(int severity, std::string_view text) {
   constexpr auto moment = std::chrono::milliseconds{1};
   std::string const whole = noticeLine(severity, text);
   for (int tries = 0; tries < 100; ++tries) {
      if (std::unique_lock const lock{writing_, std::try_to_lock}) {
         lineAlone(whole);
         return;
      }
      std::this_thread::sleep_for(moment);
   }
   ++droppedTotal_;
   ++droppedUnreported_;
}

void StderrLog::message(Vorn::Host::LogMessage const & message) {
   line(Base::utcTime(message.utc.value()) + " " +
        std::string{Base::severityWord(message.descriptor.severity)} + " " + message.descriptor.name + ": " +
        shown(message.text.view()));
}

void StderrLog::trace(Vorn::Host::TraceLine const & line_) {
   // A trace may contain the whole output of a tool: megabytes, of which four kilobytes are shown.
   std::string_view const text = std::string_view{line_.text}.substr(0, maxLine);
   line(now() + " trace " + std::string{line_.facility} + "/" + std::to_string(line_.level) + " " +
        std::string{line_.function} + ":" + (text.starts_with(' ') ? "" : " ") + shown(text));
}

void StderrLog::line(std::string text) {
   Vorn::BlockingCall const call{"write", "standard error"};
   std::lock_guard const lock{writing_};
   lineAlone(std::move(text));
}

void StderrLog::lineAlone(std::string text) {
   if (droppedUnreported_ > 0) {
      std::string const report = now() + " warning storagedevices: " + std::to_string(droppedUnreported_) +
                                 " lines were dropped because standard error was blocked\n";
      if (writeAtOnce(report))
         droppedUnreported_ = 0;
   }
   bound(text);
   text += '\n';
   if (droppedUnreported_ > 0 || !writeAtOnce(text)) {
      ++droppedTotal_;
      ++droppedUnreported_;
   }
}

bool StderrLog::writeAtOnce(std::string_view text) const {
   ssize_t const sent = send(fd_, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
   if (sent >= 0 || errno != ENOTSOCK)
      return sent == static_cast<ssize_t>(text.size());
   pollfd ready{fd_, POLLOUT, 0};
   if (poll(&ready, 1, 0) != 1 || (ready.revents & POLLOUT) == 0)
      return false;
   return write(fd_, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

}  // namespace Agent
