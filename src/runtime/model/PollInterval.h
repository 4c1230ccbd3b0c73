// How often the polling monitors read the disks. Written by the host.
#pragma once

#include <stdexcept>

#include "runtime/Pelm/Node.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Seconds.h"

class PollInterval : public Pelm::Node {
 public:
   Vorn::Attribute<Vorn::Seconds, PollInterval> interval{*this, "interval", 60.0};

   // Raises std::invalid_argument below one second: such a poll would do nothing but poll.
   void intervalIs(Vorn::Seconds value) {
      if (!(value >= Vorn::Seconds{1.0}) || value == Vorn::Seconds::infinity())
         throw std::invalid_argument{"the poll interval must be at least one second"};
      interval.valueIs(value);
   }
};
