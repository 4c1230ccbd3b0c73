// The interval at which the polling monitors read the disks. Written by the host. Any change makes them read
// all disks at once, and then at the new interval.
#pragma once

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Seconds.h"

class VORN_API PollInterval : public Pelm::Node {
 public:
   PollInterval();
   ~PollInterval() override;

   Vorn::Attribute<Vorn::Seconds, PollInterval> interval{*this, "interval", 60.0};

   // Framework time; a minute by default. Raises std::invalid_argument below one second, and for infinity and
   // NaN; the interval stays as it was then.
   void intervalIs(Vorn::Seconds value);
};
