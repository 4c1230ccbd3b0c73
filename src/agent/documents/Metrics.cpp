#include "agent/documents/Metrics.h"

#include <string_view>

#include "base/Text.h"
#include "runtime/Vorn/Format.h"

namespace Agent {

namespace {

// A value between quotation marks, control characters made visible.
std::string labelValue(std::string_view text) {
   std::string value;
   for (char const c : Base::escaped(text)) {
      if (c == '\\' || c == '"')
         value += '\\';
      value += c;
   }
   return value;
}

std::string metric(char const * name, char const * type, char const * help, double value,
                   std::string const & labels = "") {
   std::string const whole = std::string{"storagedevices_"} + name;
   return "# HELP " + whole + " " + help + "\n# TYPE " + whole + " " + type + "\n" + whole + labels + " " +
          Vorn::_fmt("%.6f", value).str() + "\n";
}

}  // namespace

std::string metricsText(Vorn::Seconds lastTurnAge, Stalls const & stalls) {
   std::string text =
       metric("last_turn_age_seconds", "gauge", "Seconds since the last turn of the loop ended.",
              lastTurnAge.value()) +
       metric("loop_stalls_total", "counter", "Turns of the loop that took five seconds or longer.",
              static_cast<double>(stalls.count)) +
       metric("loop_longest_stall_seconds", "gauge", "Duration of the longest stall in seconds.",
              stalls.longest.value());
   if (stalls.last)
      text += metric("loop_last_stall_seconds", "gauge",
                     "Duration of the last stall in seconds, and what took most of it.",
                     stalls.last->duration.value(),
                     "{operation=\"" + labelValue(stalls.last->operation) + "\",path=\"" +
                         labelValue(stalls.last->path) + "\"}");
   return text;
}

}  // namespace Agent
