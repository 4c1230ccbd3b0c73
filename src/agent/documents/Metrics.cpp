#include "agent/documents/Metrics.h"

#include <string_view>

#include "base/Text.h"
#include "runtime/Vorn/Format.h"

namespace Agent {

namespace {

// A value between quotation marks, control characters made visible.
std::string labelValue(std::string_view text) {
   std::string value;
   for (char const c : escaped(text)) {
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

std::string metricsText(double lastTurnAgeSeconds, Holds const & holds) {
   std::string text =
       metric("last_turn_age_seconds", "gauge", "Since the loop's last turn ended.", lastTurnAgeSeconds) +
       metric("loop_holds_total", "counter", "Times that one turn took five seconds or longer.",
              static_cast<double>(holds.count)) +
       metric("loop_longest_hold_seconds", "gauge", "The longest of these turns.", holds.longestSeconds);
   if (holds.last)
      text += metric("loop_last_hold_seconds", "gauge", "The last of these turns, and what took most of it.",
                     holds.last->seconds,
                     "{operation=\"" + labelValue(holds.last->operation) + "\",path=\"" +
                         labelValue(holds.last->path) + "\"}");
   return text;
}

}  // namespace Agent
