#include "command/Colour.h"

#include <unistd.h>

#include <cstdlib>

namespace Agent {

bool takesColour(int descriptor) {
   char const * const refusal = std::getenv("NO_COLOR");
   return isatty(descriptor) != 0 && (refusal == nullptr || *refusal == '\0');
}

}  // namespace Agent
