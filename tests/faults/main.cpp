// Fails each system call and each allocation of the agent, one in each run; see README.md.

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/UniqueFd.h"
#include "tests/faults/Scenario.h"

namespace {

using Faults::Trial;

struct Options {
   unsigned long allocations = 0;
   unsigned long every = 1;
   unsigned long seconds = 0;  // 0: no limit
   unsigned long workers = 4;
   bool calls = true;
   std::vector<std::string> only;
};

Options optionsOf(std::vector<std::string> const & arguments) {
   Options options;
   std::map<std::string, unsigned long *> const numbers{{"--allocations", &options.allocations},
                                                        {"--every", &options.every},
                                                        {"--seconds", &options.seconds},
                                                        {"--workers", &options.workers}};
   for (std::size_t i = 0; i < arguments.size(); ++i) {
      if (arguments[i] == "--no-calls") {
         options.calls = false;
         continue;
      }
      if (i + 1 == arguments.size())
         throw std::invalid_argument{arguments[i] + ": wrong usage; see tests/faults/README.md"};
      std::string const & value = arguments[++i];
      if (arguments[i - 1] == "--only")
         options.only.push_back(value);
      else
         *numbers.at(arguments[i - 1]) = std::stoul(value);
   }
   options.every = std::max(options.every, 1UL);
   return options;
}

// What a worker reports, one line each.
struct Report {
   int pipe;
   void line(std::string text) const {
      std::replace(text.begin(), text.end(), '\n', ' ');
      text = text.substr(0, 3000) + "\n";
      if (write(pipe, text.data(), text.size()) < 0)
         _exit(1);
   }
};

// Runs the work in processes of their own, since each can have one simulated unit, and gives their lines.
template <typename Work, typename Take>
void inProcesses(unsigned long count, Work const & work, Take const & take) {
   int ends[2];
   if (pipe(ends) != 0)
      throw std::runtime_error{"no pipe"};
   for (unsigned long i = 0; i < count; ++i)
      if (fork() == 0) {
         close(ends[0]);
         try {
            work(i, Report{ends[1]});
         } catch (std::exception const & error) {
            Report{ends[1]}.line(std::string{"failed\tthe runner\t"} + error.what());
         }
         std::cout.flush();
         _exit(0);
      }
   close(ends[1]);
   FILE * const lines = fdopen(ends[0], "r");
   char * text = nullptr;
   std::size_t size = 0;
   while (getline(&text, &size, lines) > 0)
      take(std::string{text}.substr(0, std::strlen(text) - 1));
   std::free(text);
   std::fclose(lines);
   while (wait(nullptr) > 0)
      continue;
}

std::vector<std::string> fields(std::string const & line) {
   std::vector<std::string> parts;
   std::istringstream in{line};
   for (std::string part; std::getline(in, part, '\t');)
      parts.push_back(part);
   parts.resize(std::max<std::size_t>(parts.size(), 3));
   return parts;
}

struct Surveyed {
   Faults::Survey survey;
   std::size_t descriptors = 0;
};

Surveyed surveyed() {
   Surveyed result;
   std::string wrong;
   auto const work = [](unsigned long, Report const & report) {
      Faults::Appliance appliance;
      Faults::Survey survey;
      auto const outcome = Faults::play(appliance, {}, 0, &survey);
      report.line(outcome.wrong.empty() ? "descriptors\t\t" + std::to_string(outcome.descriptors)
                                        : "failed\t\t" + outcome.wrong);
      for (auto const & [place, count] : survey.places)
         report.line("place\t" + place + "\t" + std::to_string(count));
      for (auto const & [number, count] : survey.others)
         report.line("other\t" + std::to_string(number) + "\t" + std::to_string(count));
   };
   inProcesses(1, work, [&](std::string const & line) {
      auto const part = fields(line);
      if (part[0] == "place")
         result.survey.places[part[1]] = std::stoul(part[2]);
      else if (part[0] == "other")
         result.survey.others[std::stoi(part[1])] = std::stoul(part[2]);
      else if (part[0] == "descriptors")
         result.descriptors = std::stoul(part[2]);
      else
         wrong = part[2];
   });
   if (result.descriptors == 0)
      throw std::runtime_error{"the undisturbed run: " + wrong};
   return result;
}

// No medium is behind a counter of the kernel.
bool isPlausible(std::string const & place, int error) {
   return place.find("anon_inode:") == std::string::npos ||
          (error != EIO && error != ENOSPC && error != EROFS && error != ENODEV && error != ECONNRESET);
}

// The first call at each place with each error, then the second, fourth, eighth...
void addCalls(std::vector<Trial> & trials, Faults::Survey const & survey) {
   constexpr unsigned long mostOrdinals = 16;
   for (unsigned long ordinal = 1; ordinal <= mostOrdinals; ordinal *= 2)
      for (std::size_t index = 0; index < 8; ++index)
         for (auto const & [place, count] : survey.places) {
            auto const * const call = Faults::callNamed(place.substr(0, place.find(' ')));
            if (call && ordinal <= count && index < call->errors.size() &&
                isPlausible(place, call->errors[index]))
               trials.push_back({Faults::Fault{place, ordinal, call->errors[index]}});
         }
}

int errorNamed(std::string const & name) {
   constexpr int most = 134;
   for (int error = 1; error < most; ++error)
      if (char const * const known = strerrorname_np(error); known && name == known)
         return error;
   throw std::invalid_argument{name + ": no error has this name"};
}

Trial trialNamed(std::string const & name) {
   auto const hash = name.rfind('#');
   auto const equals = name.rfind('=');
   std::string const place = name.substr(0, hash);
   if (place == "allocation")
      return {{}, std::stoul(name.substr(hash + 1))};
   return {Faults::Fault{place, std::stoul(name.substr(hash + 1, equals - hash - 1)),
                         errorNamed(name.substr(equals + 1))}};
}

std::vector<Trial> trialsFor(Options const & options, Faults::Survey const & survey) {
   std::vector<Trial> all;
   for (std::string const & name : options.only)
      all.push_back(trialNamed(name));
   if (!all.empty())
      return all;
   if (options.calls)
      addCalls(all, survey);
   for (unsigned long allocation = 1; allocation <= options.allocations; ++allocation)
      all.push_back({{}, allocation});
   std::vector<Trial> chosen;
   for (std::size_t i = 0; i < all.size(); i += options.every)
      chosen.push_back(all[i]);
   return chosen;
}

struct Tally {
   unsigned long recovered = 0;
   unsigned long refused = 0;
   unsigned long unreached = 0;
   unsigned long failed = 0;

   unsigned long runs() const { return recovered + refused + unreached + failed; }
};

void count(Tally & tally, std::string const & line) {
   auto const part = fields(line);
   if (part[0] == "failed") {
      ++tally.failed;
      std::cerr << part[1] << ": " << part[2] << "\n";
   } else if (part[0] == "refused")
      ++tally.refused;
   else if (part[0] == "unreached")
      ++tally.unreached;
   else
      ++tally.recovered;
}

std::string wordOf(Faults::Outcome const & outcome) {
   if (!outcome.wrong.empty())
      return "failed";
   if (outcome.refused)
      return "refused";
   return outcome.reached ? "recovered" : "unreached";
}

Tally run(std::vector<Trial> const & trials, Options const & options, std::size_t descriptors) {
   Tally calls;
   auto const begin = std::chrono::steady_clock::now();
   auto const inTime = [&] {
      return options.seconds == 0 ||
             std::chrono::steady_clock::now() - begin < std::chrono::seconds{options.seconds};
   };
   auto const work = [&](unsigned long worker, Report const & report) {
      for (std::size_t i = worker; i < trials.size() && inTime(); i += options.workers) {
         Faults::Appliance appliance;
         auto const outcome = Faults::play(appliance, trials[i], descriptors);
         report.line(wordOf(outcome) + "\t" + trials[i].name() + "\t" + outcome.wrong);
         if (options.only.size() == 1)
            std::cerr << outcome.callers;
      }
   };
   inProcesses(options.workers, work, [&](std::string const & line) { count(calls, line); });
   return calls;
}

void print(Tally const & tally, std::size_t planned, Surveyed const & surveyed) {
   std::cout << "| what | number |\n| --- | ---: |\n"
             << "| places of system calls | " << surveyed.survey.places.size() << " |\n"
             << "| faults planned | " << planned << " |\n"
             << "| runs | " << tally.runs() << " |\n"
             << "| the unit recovered | " << tally.recovered << " |\n"
             << "| the start was refused, the next was good | " << tally.refused << " |\n"
             << "| the call was not reached | " << tally.unreached << " |\n"
             << "| failed | " << tally.failed << " |\n\n";
   std::cout << "System calls that never fail here, by number:";
   for (auto const & [number, calls] : surveyed.survey.others)
      std::cout << ' ' << number;
   std::cout << ".\n";
}

// A worker that has died leaves runs out. A fault that is named must happen.
bool isGood(Tally const & tally, std::size_t planned, Options const & options) {
   bool const complete = options.seconds != 0 || tally.runs() == planned;
   return tally.failed == 0 && tally.recovered > 0 && complete &&
          (options.only.empty() || tally.unreached == 0);
}

}  // namespace

int main(int argc, char ** argv) try {
   Options const options = optionsOf({argv + 1, argv + argc});
   auto const before = surveyed();
   auto const trials = trialsFor(options, before.survey);
   Tally const tally = run(trials, options, before.descriptors);
   print(tally, trials.size(), before);
   return isGood(tally, trials.size(), options) ? 0 : 1;
} catch (std::exception const & error) {
   std::cerr << error.what() << "\n";
   return 2;
}
