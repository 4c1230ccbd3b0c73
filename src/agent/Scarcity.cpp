#include "agent/Scarcity.h"

#include <cerrno>

#include "runtime/Vorn/Shortage.h"

namespace Agent {

std::optional<std::string> descriptorsLine(unsigned long allowed) {
   if (allowed >= fewDescriptors)
      return std::nullopt;
   return "no more than " + std::to_string(allowed) +
          " descriptors may be open, which is too few to watch disks: " + Vorn::shortageRemedy(EMFILE) +
          ", to " + std::to_string(fewDescriptors) + " at the least";
}

}  // namespace Agent
