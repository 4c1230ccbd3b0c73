// Copies the text of a manual page from standard input, and puts tables in the place of lines such as
// "@messages@". Usage: manual-page CONFIGURATION <PAGE.scd
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>

#include "manual/ManualTables.h"
#include "runtime/Vorn/Module.h"

namespace {

std::string messages() {
   std::string table;
   for (Vorn::Module const * const module : Vorn::modules())
      table += Manual::messagesTable(module->logDescriptors);
   return table;
}

std::string configuration(char const * path) {
   std::ifstream file{path};
   return file ? Manual::configurationTable(file) : std::string{};
}

}  // namespace

int main(int count, char ** arguments) {
   if (count != 2) {
      std::fputs("usage: manual-page CONFIGURATION <PAGE.scd\n", stderr);
      return 2;
   }
   std::map<std::string, std::function<std::string()>> const tables{
       {"@messages@", messages},
       {"@verdicts@", [] { return Manual::verdictsTable(Agent::verdictRules()); }},
       {"@configuration@", [&] { return configuration(arguments[1]); }},
   };
   std::ifstream page{"/dev/stdin"};
   for (std::string line; std::getline(page, line);) {
      auto const table = tables.find(line);
      if (table == tables.end()) {
         std::puts(line.c_str());
         continue;
      }
      std::string const text = table->second();
      if (text.empty()) {
         std::fprintf(stderr, "manual-page: nothing for %s\n", line.c_str());
         return 1;
      }
      std::fputs(text.c_str(), stdout);
   }
   return std::fflush(stdout) == 0 ? 0 : 1;
}
