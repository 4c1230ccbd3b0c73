// The interval at which the polling monitors read the disks. Written by the host.
#pragma once

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Seconds.h"

class RUNTIME_API PollInterval : public Pelm::Node {
 public:
   PollInterval();
   ~PollInterval() override;

   Vorn::Attribute<Vorn::Seconds, PollInterval> interval{*this, "interval", 60.0};

   // Seconds. Raises std::invalid_argument below one second.
   void intervalIs(Vorn::Seconds value);
};
