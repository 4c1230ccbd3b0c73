#include "agent/kernel/ClockWatch.h"

#include <utility>

namespace Agent {

namespace {

Vorn::Seconds wallClockLead() {
   return Vorn::System::currentTimeUtc() - Vorn::System::currentTime();
}

}  // namespace

ClockWatch::ClockWatch(Pelm::Ptr<StorageDevicesInfo> info)
    : info_{std::move(info)}, lead_{wallClockLead()}, clock_{*this, Vorn::System::currentTime() + interval} {}

void ClockWatch::handleClock() {
   check();
   clock_.timeMinIs(Vorn::System::currentTime() + interval);
}

void ClockWatch::check() {
   Vorn::Seconds const lead = wallClockLead();
   if (std::exchange(lead_, lead) - lead <= tolerance)
      return;
   Vorn::Seconds const now = Vorn::System::currentTimeUtc();
   for (auto const & [serial, record] : info_->fsList)
      if (record->syslogTimestamp() > now)
         record->syslogTimestampIs(0);
}

}  // namespace Agent
