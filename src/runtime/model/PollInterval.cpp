#include "runtime/model/PollInterval.h"

#include <stdexcept>

PollInterval::PollInterval() = default;
PollInterval::~PollInterval() = default;

void PollInterval::intervalIs(Vorn::Seconds value) {
   if (!(value >= Vorn::Seconds{1.0}) || value == Vorn::Seconds::infinity())
      throw std::invalid_argument{"the poll interval must be at least one second"};
   interval.valueIs(value);
}
