// Makes a failing script short.
#pragma once

#include <functional>

#include "tests/endurance/Script.h"

namespace Endurance {

// Whether a script fails within a span.
using Fails = std::function<bool(Script const & script, double span)>;

// A script that fails too, with few events, begun as late before the failure as possible. `span` becomes its
// span. Each attempt is a run.
Script shrink(Script script, double & span, Fails const & fails);

}  // namespace Endurance
