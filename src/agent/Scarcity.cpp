#include "agent/Scarcity.h"

#include <cerrno>

#include "runtime/Vorn/Shortage.h"

namespace Agent {

std::optional<std::string> descriptorsLine(unsigned long allowed) {
   if (allowed >= fewDescriptors)
      return std::nullopt;
   return "the limit of " + std::to_string(allowed) +
          " open files is too low to watch disks: " + Vorn::shortageRemedy(EMFILE) + " to at least " +
          std::to_string(fewDescriptors);
}

}  // namespace Agent
