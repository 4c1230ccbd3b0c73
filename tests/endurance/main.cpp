// Runs the library for simulated years beside a model that predicts its messages and verdicts.
//
//    endurance [--seed N] [--seeds N] [--years Y] [--all] [--script FILE] [--print]
//
// With --all a run fails, too, in which a message or a reason never occurs.
// It runs under umockdev-wrapper. A run that fails is repeated with ever fewer events; the shortest script
// that fails is printed, for --script. Exit codes: 0 all agree, 1 a run failed, 2 wrong usage.
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/verdict/VerdictRules.h"
#include "tests/endurance/Apart.h"
#include "tests/endurance/Run.h"
#include "tests/endurance/Shrink.h"

namespace {

using Endurance::Outcome;
using Endurance::Script;

constexpr double year = 365.25 * 86400;
// Real seconds for a virtual minute, of a whole run and of one of the many that shrink it.
constexpr unsigned patience = 120;
constexpr unsigned littlePatience = 15;

struct Options {
   std::uint32_t seed = 1;
   std::uint32_t seeds = 1;
   double years = 1;
   std::string script;
   bool all = false;
   bool print = false;
};

Options optionsOf(std::vector<std::string> const & words) {
   Options options;
   for (std::size_t i = 0; i < words.size(); ++i) {
      auto const value = [&] {
         return i + 1 < words.size() ? words[++i] : throw std::invalid_argument{words[i] + ": no value"};
      };
      if (words[i] == "--seed")
         options.seed = static_cast<std::uint32_t>(std::stoul(value()));
      else if (words[i] == "--seeds")
         options.seeds = static_cast<std::uint32_t>(std::stoul(value()));
      else if (words[i] == "--years")
         options.years = std::stod(value());
      else if (words[i] == "--script")
         options.script = value();
      else if (words[i] == "--all")
         options.all = true;
      else if (words[i] == "--print")
         options.print = true;
      else
         throw std::invalid_argument{words[i] + ": unknown"};
   }
   return options;
}

bool failsApart(Script const & script, double span) {
   auto const end = Endurance::runApart(
       [&](auto const & progress) {
          std::fclose(stderr);
          return Endurance::run(script, span, progress).difference.empty();
       },
       littlePatience);
   return !end.good;
}

std::size_t count(Outcome const & outcome) {
   std::size_t all = 0;
   for (auto const & [name, times] : outcome.messages)
      all += times;
   return all;
}

// Messages and reasons that did not occur; with many, the scripts are too tame.
std::string unseen(Outcome const & outcome) {
   std::string found;
   for (char const * const name : {"LIFETIME_WARNING", "LIFETIME_INFO", "OFFLINE",
                                   "UNEXPECTED_PARTITION_MOUNTED", "PARTITION_NOT_MOUNTED", "DETECTION_ERROR",
                                   "MONITOR_WARNING", "IO_ERROR_EXTERNAL_USB", "IO_ERROR", "MONITOR_ERROR"})
      if (!outcome.messages.contains(std::string{"STORAGEDEVICE_"} + name))
         found += std::string{"never logged: "} + name + "\n";
   for (Agent::VerdictRule const & rule : Agent::verdictRules())
      if (!outcome.reasons.contains(rule.code))
         found += std::string{"never a reason: "} + rule.code + "\n";
   return found;
}

// What grows after the first year, or a twelfth of a shorter run; empty: nothing.
std::string growth(Outcome const & outcome) {
   constexpr std::size_t tolerance = 1024;  // KiB
   auto const & held = outcome.holdings;
   if (held.size() < 3)
      return {};
   std::size_t const from = std::min<std::size_t>(12, held.size() / 2);
   std::string found;
   for (std::size_t i = from; i < held.size(); ++i) {
      if (held[i].resident > held[from].resident + tolerance)
         found = "resident: " + std::to_string(held[from].resident) + " KiB, later " +
                 std::to_string(held[i].resident) + " KiB\n";
      if (held[i].descriptors > held[from].descriptors + 16 || held[i].children != 0)
         found += "descriptors: " + std::to_string(held[i].descriptors) +
                  ", children: " + std::to_string(held[i].children) + "\n";
   }
   return found;
}

// Repeats a run that failed at that time with ever fewer events.
void shorten(Script script, double time) {
   double span = time + 1;
   if (!failsApart(script, span))
      return;  // what grew, or never occurred, is no matter of single events
   std::cout << "shrinking it" << std::endl;
   script = Endurance::shrink(std::move(script), span, failsApart);
   std::cout << "the shortest script that fails, within " << span << " s:\n";
   Endurance::write(std::cout, script);
   auto const end = Endurance::runApart(
       [&](auto const & progress) {
          auto const difference = Endurance::run(script, span, progress).difference;
          std::cout << difference;
          return difference.empty();
       },
       littlePatience);
   std::cout << end.crash << std::endl;
}

bool runAndPrint(Script const & script, double span, bool all, Endurance::Progress const & progress) {
   auto const begin = std::chrono::steady_clock::now();
   Outcome const outcome = Endurance::run(script, span, progress);
   std::chrono::duration<double> const took = std::chrono::steady_clock::now() - begin;
   auto const grown = growth(outcome) + (all ? unseen(outcome) : "");
   bool const good = outcome.difference.empty() && grown.empty();
   std::cout << script.size() << " events, " << count(outcome) << " messages, " << outcome.verdicts
             << " changes of verdicts, " << outcome.time / 86400 << " days in " << took.count()
             << " s: " << (good ? "agree" : "FAILED") << '\n'
             << outcome.difference << grown;
   return good;
}

bool runOne(Script const & script, double span, std::string const & name, bool all) {
   std::cout << name << ": ";
   auto const end = Endurance::runApart(
       [&](auto const & progress) { return runAndPrint(script, span, all, progress); }, patience);
   if (end.good)
      return true;
   std::cout << end.crash << " at " << end.time << " s" << std::endl;
   shorten(script, end.time);
   return false;
}

Script scriptOf(std::string const & file) {
   std::ifstream stream{file};
   if (!stream)
      throw std::invalid_argument{file + ": cannot be opened"};
   return Endurance::read(stream);
}

bool runAll(Options const & options) {
   double const span = options.years * year;
   if (!options.script.empty()) {
      Script const script = scriptOf(options.script);
      return runOne(script, script.empty() ? span : std::max(script.back().time + 2 * 86400, 0.0),
                    options.script, options.all);
   }
   bool good = true;
   for (std::uint32_t seed = options.seed; seed < options.seed + options.seeds; ++seed) {
      Script const script = Endurance::randomScript(seed, span);
      if (options.print)
         Endurance::write(std::cout, script);
      else
         good = runOne(script, span, "seed " + std::to_string(seed), options.all) && good;
   }
   return good;
}

}  // namespace

int main(int argc, char ** argv) {
   mallopt(M_MMAP_THRESHOLD,
           128 << 10);  // as the agent does: the memory of a large block returns to the system
   try {
      return runAll(optionsOf(std::vector<std::string>(argv + 1, argv + argc))) ? EXIT_SUCCESS : EXIT_FAILURE;
   } catch (std::exception const & error) {
      std::fprintf(stderr, "endurance: %s\n", error.what());
      return 2;
   }
}
