#include "demo/Options.h"

#include <CLI/CLI.hpp>

#include "base/HttpAddress.h"
#include "base/Text.h"

namespace Demo {

namespace {

// Empty for a good time scale. Written so that "nan" is refused.
std::string timeScaleError(std::string & text) {
   double scale = 0;
   if (CLI::detail::lexical_cast(text, scale) && scale >= 0.001 && scale <= 100000)
      return {};
   return "must be a number from 0.001 to 100000, not " + text;
}

std::string httpError(std::string & text) {
   auto const address = Base::parseHttpAddress(text);
   if (address && address->loopback())
      return {};
   return "must be a loopback address and port such as 127.0.0.1:9634, not " + text;
}

}  // namespace

Options parseOptions(std::vector<std::string> const & arguments) {
   Options options;
   CLI::App app{
       "Plays a story on a simulated appliance and checks that the agent notices it. No disk of this machine "
       "is\n"
       "touched. On a terminal the story repeats until Ctrl-C; elsewhere it is played once.",
       "storagedevices demo"};
   app.add_option("--time-scale", options.timeScale,
                  "How many times faster the agent's time runs, 0.001 to 100000")
       ->type_name("N")
       ->capture_default_str()
       ->check(CLI::Validator{timeScaleError, ""});
   app.add_option("--http", options.http, "The agent also answers there: state, messages and metrics")
       ->type_name("ADDR:PORT")
       ->check(CLI::Validator{httpError, ""});
   app.add_option("--agent", options.agent,
                  "The program storagedevices, if it is not the one beside this one")
       ->type_name("PATH");
   try {
      app.parse(std::vector<std::string>{arguments.rbegin(), arguments.rend()});
   } catch (CLI::CallForHelp const &) {
      options.help = app.help();
   } catch (CLI::ParseError const & error) {
      throw UsageError(Base::escaped(error.what()) + ": see --help");
   }
   return options;
}

}  // namespace Demo
