#include "agent/events/EventFeed.h"

#include <algorithm>

#include "agent/events/EventStream.h"
#include "runtime/host/TimeSource.h"

namespace Agent {

namespace {

// Real seconds: readers live in real time, whatever the agent's clock does.
constexpr double tickSpan = 1;
constexpr double beatSpan = 15;

Vorn::Seconds realSpan(double seconds) {
   return Vorn::Host::timeSource().spanOf(seconds);
}

}  // namespace

EventFeed::EventFeed(MessageStore const & messages, Verdicts & verdicts, Readings const & readings)
    : messages_{messages}, evaluation_{verdicts}, disks_{verdicts.disks()}, readings_{readings} {
   disksReactor_.notifierIs(Pelm::Ptr<Pelm::Node const>{&disks_});
   disksReactor_.on<&EventFeed::handleVerdict>(disks_.verdict, *this);
   disksReactor_.on<&EventFeed::handleFigures>(disks_.figures, *this);
   disksReactor_.hasNotificationActiveIs(true);
}

std::unique_ptr<Document> EventFeed::stream(std::uint64_t after) {
   return std::make_unique<EventStream>(*this, after);
}

void EventFeed::streamIs(EventStream & stream) {
   streams_.push_back(&stream);
   if (streams_.size() > 1)
      return;
   evaluation_.followedIs(true);
   beatClock_.timeMinIs(Vorn::System::currentTime() + realSpan(beatSpan));
}

void EventFeed::streamDel(EventStream & stream) {
   std::erase(streams_, &stream);
   if (streams_.empty()) {
      evaluation_.followedIs(false);
      beatClock_.timeMinIs(Vorn::Seconds::infinity());
   }
   forgetWhatAllHave();
}

void EventFeed::handleVerdict(Pelm::String const & serial) {
   if (!streams_.empty())
      verdicts_.add(serial);
   handleFigures(serial);
   wake();
}

void EventFeed::handleFigures(Pelm::String const & serial) {
   if (streams_.empty())
      return;
   states_.add(serial);
   tickClock_.timeMinIs(ticked_ + realSpan(tickSpan));
}

void EventFeed::handleTick() {
   told_ = states_.last();
   ticked_ = Vorn::System::currentTime();
   ++ticks_;
   wake();
}

void EventFeed::handleBeat() {
   beatClock_.timeMinIs(Vorn::System::currentTime() + realSpan(beatSpan));
   ++beats_;
   forgetWhatAllHave();
   wake();
}

void EventFeed::handleWake() {
   for (EventStream * const stream : streams_)
      stream->wake();
}

void EventFeed::forgetWhatAllHave() {
   std::uint64_t verdicts = verdicts_.last();
   std::uint64_t states = states_.last();
   for (EventStream const * const stream : streams_) {
      verdicts = std::min(verdicts, stream->verdictSent());
      states = std::min(states, stream->stateSent());
   }
   verdicts_.forget(verdicts);
   states_.forget(states);
}

}  // namespace Agent
