// storagedevices-demo: the agent on a simulated appliance.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "demo/Demo.h"

namespace Demo {
namespace {

// The simulation must be preloaded, which only the start of a program can do.
void startPreloaded(char ** arguments) {
   std::string const library(StorageDevices::Simulation::preloadLibrary);
   char const * const preloaded = std::getenv("LD_PRELOAD");
   if (preloaded != nullptr && std::string(preloaded).find(library) != std::string::npos)
      return;
   auto const all = preloaded == nullptr || *preloaded == '\0' ? library : library + ":" + preloaded;
   setenv("LD_PRELOAD", all.c_str(), 1);
   execv("/proc/self/exe", arguments);
   std::perror("storagedevices-demo: cannot start itself with the simulation");
}

int run(Options const & options, Signals & signals, bool live) {
   std::unique_ptr<Display> display;
   if (live)
      display = std::make_unique<LiveDisplay>();
   else
      display = std::make_unique<PlainDisplay>();
   auto demo = std::make_unique<Demo>(options, signals, *display);
   demo->play(live);
   auto const summary = demo->summary() + "\n";
   auto const complaint = live && demo->interrupted() ? std::string{} : demo->complaint();
   demo.reset();
   display.reset();
   std::fputs(summary.c_str(), stdout);
   bool const written = std::fflush(stdout) == 0;
   if (!complaint.empty())
      std::fprintf(stderr, "storagedevices-demo: %s\n", complaint.c_str());
   return complaint.empty() && written ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace Demo

int main(int argc, char ** argv) {
   try {
      auto const options = Demo::parseOptions(std::vector<std::string>(argv + 1, argv + argc));
      if (!options.help.empty()) {
         std::fputs(options.help.c_str(), stdout);
         return EXIT_SUCCESS;
      }
      Demo::startPreloaded(argv);
      Demo::Signals signals;
      return Demo::run(options, signals, isatty(STDOUT_FILENO) == 1);
   } catch (Demo::UsageError const & error) {
      std::fprintf(stderr, "storagedevices-demo: %s\n", error.what());
      return 2;
   } catch (std::exception const & error) {
      std::fprintf(stderr, "storagedevices-demo: %s\n", error.what());
      return EXIT_FAILURE;
   }
}
