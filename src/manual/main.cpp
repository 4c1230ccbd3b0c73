// Copies a text from standard input, and puts tables in the place of lines such as "@messages@".
// Usage: fill-tables CONFIGURATION SUPPORT <TEXT, where SUPPORT is that of journalCatalogue().
#include <cstdio>
#include <exception>
#include <fstream>
#include <functional>
#include <map>
#include <span>
#include <stdexcept>
#include <string>

#include "manual/JournalCatalogue.h"
#include "manual/ManualTables.h"
#include "runtime/Vorn/Module.h"

namespace {

using Tables = std::map<std::string, std::function<std::string()>>;

std::string ofEachModule(std::function<std::string(std::span<Vorn::LogDescriptor const>)> const & table) {
   std::string text;
   for (Vorn::Module const * const module : Vorn::modules())
      text += table(module->logDescriptors);
   return text;
}

std::string configuration(char const * path) {
   std::ifstream file{path};
   return file ? Manual::configurationTable(file) : std::string{};
}

void fill(Tables const & tables) {
   std::ifstream page{"/dev/stdin"};
   for (std::string line; std::getline(page, line);) {
      auto const table = tables.find(line);
      std::string const text = table == tables.end() ? line + "\n" : table->second();
      if (text.empty())
         throw std::runtime_error{"nothing for " + line};
      std::fputs(text.c_str(), stdout);
   }
   if (std::fflush(stdout) != 0)
      throw std::runtime_error{"standard output cannot be written"};
}

}  // namespace

int main(int count, char ** arguments) {
   if (count != 3) {
      std::fputs("usage: fill-tables CONFIGURATION SUPPORT <TEXT\n", stderr);
      return 2;
   }
   try {
      fill({
          {"@messages@", [] { return ofEachModule(Manual::messagesTable); }},
          {"@catalogue@",
           [&] {
              return ofEachModule(
                  [&](auto messages) { return Manual::journalCatalogue(messages, arguments[2]); });
           }},
          {"@verdicts@", [] { return Manual::verdictsTable(Agent::verdictRules()); }},
          {"@metrics@", [] { return Manual::metricsTable(Agent::Metric::all); }},
          {"@configuration@", [&] { return configuration(arguments[1]); }},
      });
   } catch (std::exception const & error) {
      std::fprintf(stderr, "fill-tables: %s\n", error.what());
      return 1;
   }
   return 0;
}
