#include "agent/service/LoopWatch.h"

#include <syslog.h>

#include <algorithm>

namespace Agent {

namespace {

constexpr Vorn::Seconds pauseWhileIdle = 2.5;
constexpr Vorn::Seconds pauseInTurn = 1;
constexpr Vorn::Seconds pauseInStall = 0.1;
constexpr Vorn::Seconds longestSilence = 60;

std::string wholeSeconds(Vorn::Seconds span) {
   return std::to_string(static_cast<std::uint64_t>(span.value())) + " s";
}

}  // namespace

std::optional<LoopWatch::Line> LoopWatch::add(Sample const & sample) {
   Vorn::Host::Activity const & activity = sample.activity;
   Vorn::Seconds const span = sample.now - activity.since;
   bool const timely = isTimely(sample.now);
   bool const sameTurn = activity.busy && activity.turn == latest_.turn;
   bool const twiceOverdue = timely && isOverdue_;
   std::optional<Line> line;
   if (stalled_ && !sameTurn)
      line = endLine(sample.now - latest_.since);
   trackCalls(sample);
   latest_ = activity;
   isOverdue_ = activity.busy && span >= shortestStall;
   if (!isOverdue_ || !(stalled_ || twiceOverdue))
      return line;
   bool const begins = !stalled_;
   stalled_ = true;
   stalls_.count += begins;
   record(span);
   return begins || span >= nextReport_ ? stallLine(span) : line;
}

Vorn::Seconds LoopWatch::pause() const {
   if (stalled_)
      return pauseInStall;
   return latest_.busy ? pauseInTurn : pauseWhileIdle;
}

// A late sample shows that this process did not run; then a long turn proves nothing.
bool LoopWatch::isTimely(Vorn::Seconds now) {
   Vorn::Seconds const gap = now - lastSampleAt_;
   lastSampleAt_ = now;
   return gap <= pauseInTurn * 2;
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
      longestCallSpan_ = 0;
      turnUtc_ = sample.utcOfTurn;
   } else if (call != call_) {
      callSince_ = sample.now;
   }
   call_ = std::move(call);
   if (Vorn::Seconds const span = sample.now - callSince_; span >= longestCallSpan_) {
      longestCall_ = call_;
      longestCallSpan_ = span;
   }
}

void LoopWatch::record(Vorn::Seconds span) {
   stalls_.last = Stall{span, longestCall_.operation, longestCall_.path, turnUtc_};
   stalls_.longest = std::max(stalls_.longest, span);
}

LoopWatch::Line LoopWatch::stallLine(Vorn::Seconds span) {
   nextReport_ = span + std::min(span, longestSilence);
   std::string const hint = call_.path.starts_with('/') ? "; if it lasts, the disk behind it is failing" : "";
   return {LOG_WARNING, "the loop has been stalled for " + wholeSeconds(span) + " by " + description(call_) +
                            " (nothing is polled and no status is served meanwhile" + hint + ")"};
}

LoopWatch::Line LoopWatch::endLine(Vorn::Seconds span) {
   record(span);
   stalled_ = false;
   return {LOG_INFO, "the loop runs again after " + wholeSeconds(span) + "; " + description(longestCall_) +
                         " stalled it"};
}

}  // namespace Agent
