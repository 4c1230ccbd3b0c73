// What happens, for the event streams that report it: messages, verdicts, and disks whose state has changed.
//
// Nothing is queued for a reader. Each stream knows what its reader has got. It takes the next event from the
// records here when the reader has received the one before. So a slow reader costs no more than a quick one.
//
// Inputs: the message store, the published verdicts and figures. Output: news to the streams that wait. While
// there is no stream, nothing here wakes the agent.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "agent/documents/Document.h"
#include "agent/events/ChangeLog.h"
#include "agent/logs/MessageStore.h"
#include "agent/tools/Readings.h"
#include "agent/verdict/Verdicts.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/Notifiee.h"

namespace Agent {

class EventStream;

class EventFeed {
 public:
   // The arguments must outlive this.
   EventFeed(MessageStore const & messages, Verdicts & verdicts, Readings const & readings);

   // The events from now on, after the kept messages with a number above `after`. A number that no message
   // has yet is one of an agent before this one: all messages then count as later. Must not outlive this.
   std::unique_ptr<Document> stream(std::uint64_t after);

   // A message was added to the store.
   void messageAdded() { wake(); }

 private:
   friend EventStream;

   void streamIs(EventStream & stream);
   void streamDel(EventStream & stream);
   void handleVerdict(Pelm::String const & serial);
   void handleFigures(Pelm::String const & serial);
   void handleTick();
   void handleBeat();
   void handleWake();
   void wake() { wakeClock_.timeMinIs(0); }
   void forgetWhatAllHave();

   MessageStore const & messages_;
   Verdicts & evaluation_;
   DiskVerdicts const & disks_;
   Readings const & readings_;
   std::vector<EventStream *> streams_;
   ChangeLog verdicts_;  // disks with another verdict or other reasons
   ChangeLog states_;    // disks with another verdict, other figures or readings
   // Changes of the state are reported in ticks, which are a second apart at least.
   std::uint64_t told_ = 0;  // the latest change at the latest tick
   std::uint64_t ticks_ = 0;
   Vorn::Seconds ticked_ = 0;
   std::uint64_t beats_ = 0;  // comments that keep the lines open
   Vorn::Clock::Notifiee<&EventFeed::handleWake> wakeClock_{*this, Vorn::Seconds::infinity()};
   Vorn::Clock::Notifiee<&EventFeed::handleTick> tickClock_{*this, Vorn::Seconds::infinity()};
   Vorn::Clock::Notifiee<&EventFeed::handleBeat> beatClock_{*this, Vorn::Seconds::infinity()};
   Vorn::NotifieeConst disksReactor_;
};

}  // namespace Agent
