#include "agent/service/LoopWatch.h"

#include <syslog.h>

#include <algorithm>

namespace Agent {

namespace {

constexpr double usualPause = 1;
constexpr double pauseInHold = 0.1;
constexpr double longestSilence = 60;

std::string wholeSeconds(double seconds) {
   return std::to_string(static_cast<std::uint64_t>(seconds)) + " s";
}

}  // namespace

std::optional<LoopWatch::Line> LoopWatch::look(Look const & look) {
   Host::Activity const & seen = look.seen;
   double const seconds = look.now - seen.since;
   bool const timely = isTimely(look.now);
   bool const sameTurn = seen.busy && seen.turn == turn_.turn;
   bool const twice = timely && tooLong_;
   std::optional<Line> line;
   if (held_ && !sameTurn)
      line = end(look.now - turn_.since);
   blame(look);
   turn_ = seen;
   tooLong_ = seen.busy && seconds >= holdSeconds;
   if (!tooLong_ || !(held_ || twice))
      return line;
   bool const begins = !held_;
   held_ = true;
   holds_.count += begins;
   record(seconds);
   return begins || seconds >= tellAgain_ ? beginOrGoOn(seconds) : line;
}

double LoopWatch::pause() const {
   return held_ ? pauseInHold : usualPause;
}

// A look that comes late shows that this process did not run, so that a long turn proves nothing.
bool LoopWatch::isTimely(double now) {
   double const gap = now - lastLook_;
   lastLook_ = now;
   return gap <= 2 * usualPause;
}

LoopWatch::Call LoopWatch::callOf(Host::Activity const & seen) {
   if (!seen.operation)
      return {"handler", {}};
   return {seen.operation, std::string{seen.path()}};
}

std::string LoopWatch::words(Call const & call) {
   if (call.path.empty())
      return call.operation == "handler" ? "a handler" : call.operation;
   return call.operation + " of " + call.path;
}

// Keeps which call of the turn was seen for the longest time.
void LoopWatch::blame(Look const & look) {
   if (!look.seen.busy)
      return;
   Call call = callOf(look.seen);
   if (look.seen.turn != turn_.turn) {
      nowSince_ = look.seen.since;
      longestSeconds_ = 0;
      utc_ = look.utcOfTurn;
   } else if (call != now_) {
      nowSince_ = look.now;
   }
   now_ = std::move(call);
   if (double const seconds = look.now - nowSince_; seconds >= longestSeconds_) {
      longest_ = now_;
      longestSeconds_ = seconds;
   }
}

void LoopWatch::record(double seconds) {
   holds_.last = Hold{seconds, longest_.operation, longest_.path, utc_};
   holds_.longestSeconds = std::max(holds_.longestSeconds, seconds);
}

LoopWatch::Line LoopWatch::beginOrGoOn(double seconds) {
   tellAgain_ = seconds + std::min(seconds, longestSilence);
   std::string const hint = now_.path.starts_with('/') ? "; if it lasts, the disk behind it is failing" : "";
   return {LOG_WARNING, "the loop has been held for " + wholeSeconds(seconds) + " by " + words(now_) +
                            " (nothing is polled and no status is served meanwhile" + hint + ")"};
}

LoopWatch::Line LoopWatch::end(double seconds) {
   record(seconds);
   held_ = false;
   return {LOG_INFO, "the loop goes on after " + wholeSeconds(seconds) + "; " + words(longest_) + " held it"};
}

}  // namespace Agent
