// Whether what is shown may be coloured.
#pragma once

namespace Agent {

// That is: whether the descriptor is a terminal, and the environment variable NO_COLOR is empty or not set.
bool takesColour(int descriptor);

}  // namespace Agent
