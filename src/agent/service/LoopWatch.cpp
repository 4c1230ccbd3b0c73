#include "agent/service/LoopWatch.h"

#include <syslog.h>

#include <algorithm>

namespace Agent {

namespace {

constexpr double usualPause = 1;
constexpr double pauseInStall = 0.1;
constexpr double longestSilence = 60;

std::string wholeSeconds(double seconds) {
   return std::to_string(static_cast<std::uint64_t>(seconds)) + " s";
}

}  // namespace

std::optional<LoopWatch::Line> LoopWatch::add(Sample const & sample) {
   Vorn::Host::Activity const & activity = sample.activity;
   double const seconds = sample.now - activity.since;
   bool const timely = isTimely(sample.now);
   bool const sameTurn = activity.busy && activity.turn == latest_.turn;
   bool const twiceOverdue = timely && isOverdue_;
   std::optional<Line> line;
   if (stalled_ && !sameTurn)
      line = endLine(sample.now - latest_.since);
   trackCalls(sample);
   latest_ = activity;
   isOverdue_ = activity.busy && seconds >= stallSeconds;
   if (!isOverdue_ || !(stalled_ || twiceOverdue))
      return line;
   bool const begins = !stalled_;
   stalled_ = true;
   stalls_.count += begins;
   record(seconds);
   return begins || seconds >= nextReportSeconds_ ? stallLine(seconds) : line;
}

double LoopWatch::pause() const {
   return stalled_ ? pauseInStall : usualPause;
}

// A late sample shows that this process did not run; then a long turn proves nothing.
bool LoopWatch::isTimely(double now) {
   double const gap = now - lastSampleAt_;
   lastSampleAt_ = now;
   return gap <= 2 * usualPause;
}

LoopWatch::Call LoopWatch::callOf(Vorn::Host::Activity const & activity) {
   if (!activity.operation)
      return {"handler", {}};
   return {activity.operation, std::string{activity.path()}};
}

std::string LoopWatch::description(Call const & call) {
   if (call.path.empty())
      return call.operation == "handler" ? "a handler" : call.operation;
   return call.operation + " of " + call.path;
}

void LoopWatch::trackCalls(Sample const & sample) {
   if (!sample.activity.busy)
      return;
   Call call = callOf(sample.activity);
   if (sample.activity.turn != latest_.turn) {
      callSince_ = sample.activity.since;
      longestCallSeconds_ = 0;
      turnUtc_ = sample.utcOfTurn;
   } else if (call != call_) {
      callSince_ = sample.now;
   }
   call_ = std::move(call);
   if (double const seconds = sample.now - callSince_; seconds >= longestCallSeconds_) {
      longestCall_ = call_;
      longestCallSeconds_ = seconds;
   }
}

void LoopWatch::record(double seconds) {
   stalls_.last = Stall{seconds, longestCall_.operation, longestCall_.path, turnUtc_};
   stalls_.longestSeconds = std::max(stalls_.longestSeconds, seconds);
}

LoopWatch::Line LoopWatch::stallLine(double seconds) {
   nextReportSeconds_ = seconds + std::min(seconds, longestSilence);
   std::string const hint = call_.path.starts_with('/') ? "; if it lasts, the disk behind it is failing" : "";
   return {LOG_WARNING, "the loop has been stalled for " + wholeSeconds(seconds) + " by " +
                            description(call_) + " (nothing is polled and no status is served meanwhile" +
                            hint + ")"};
}

LoopWatch::Line LoopWatch::endLine(double seconds) {
   record(seconds);
   stalled_ = false;
   return {LOG_INFO, "the loop runs again after " + wholeSeconds(seconds) + "; " + description(longestCall_) +
                         " stalled it"};
}

}  // namespace Agent
