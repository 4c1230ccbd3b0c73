#include "demo/Options.h"

#include <charconv>

#include "base/HttpAddress.h"
#include "base/Text.h"

namespace Agent::Demo {

namespace {

double parseTimeScale(std::string const & text) {
   double value = 0;
   auto const * end = text.data() + text.size();
   auto const result = std::from_chars(text.data(), end, value);
   if (result.ec != std::errc() || result.ptr != end || !(value >= 0.001 && value <= 100000))
      throw UsageError("--time-scale: must be a number from 0.001 to 100000, not " + Base::escaped(text));
   return value;
}

std::string parseHttp(std::string const & text) {
   auto const address = Base::parseHttpAddress(text);
   if (!address || !address->loopback())
      throw UsageError("--http: must be a loopback address and port such as 127.0.0.1:9634, not " +
                       Base::escaped(text));
   return address->text();
}

}  // namespace

Options parseOptions(std::vector<std::string> const & arguments) {
   Options options;
   for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
      auto const equals = argument->find('=');
      auto const name = argument->substr(0, equals);
      if (name == "--help" || name == "-h") {
         options.help = true;
         return options;
      }
      if (name != "--agent" && name != "--time-scale" && name != "--http")
         throw UsageError("unknown argument " + Base::escaped(*argument) + ": see --help");
      if (equals == std::string::npos && argument + 1 == arguments.end())
         throw UsageError(name + ": needs a value");
      auto const value = equals == std::string::npos ? *++argument : argument->substr(equals + 1);
      if (name == "--agent")
         options.agent = value;
      else if (name == "--time-scale")
         options.timeScale = parseTimeScale(value);
      else
         options.http = parseHttp(value);
   }
   return options;
}

std::string_view usage() {
   return "Usage: storagedevices demo [--time-scale N] [--http ADDR:PORT] [--agent PATH]\n"
          "\n"
          "Runs the agent on a simulated appliance and tells what happens to its disks. No disk of this "
          "machine\n"
          "is touched. In a terminal the story repeats until Ctrl-C; elsewhere it is told once and checked.\n"
          "\n"
          "  --time-scale N    the agent's time runs N times faster, 0.001 to 100000; 60 if not given\n"
          "  --http ADDR:PORT  the agent also answers there: state, messages and metrics\n"
          "  --agent PATH      the agent's program, if it is not the one beside this one\n";
}

}  // namespace Agent::Demo
