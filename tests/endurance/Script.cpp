#include "tests/endurance/Script.h"

#include <array>
#include <iomanip>
#include <istream>
#include <ostream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "tests/endurance/Places.h"

namespace Endurance {

namespace {

// No clock of the library's begins at such a time, so the order of what falls together is that of arming.
constexpr double offset = 0.4375;

class Maker {
 public:
   explicit Maker(std::uint32_t seed) : random_{seed} {}

   Script script(double span) {
      double time = 0;
      while ((time += 2 + below(usualGap)) < span) {
         now_ = time + offset;
         happens(below(100));
         time = now_ - offset;
      }
      return std::move(script_);
   }

 private:
   static constexpr int usualGap = 36000;  // seconds: some 1,750 draws a year
   static constexpr int shortWhile = 600;

   int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
   Place const & anyPlace() { return places[static_cast<std::size_t>(below(placeCount))]; }
   Place const & fixedPlace() { return places[static_cast<std::size_t>(below(placeCount - 1))]; }

   template <std::size_t size>
   std::string_view oneOf(std::array<std::string_view, size> const & words) {
      return words[static_cast<std::size_t>(below(size))];
   }

   void add(std::string_view word, std::string_view place = "-", std::string_view detail = "-",
            std::int64_t number = 0) {
      script_.push_back({now_, std::string{word}, std::string{place}, std::string{detail}, number});
      now_ += 2;
   }

   void happens(int draw) {
      if (draw < 22)
         kernelLines();
      else if (draw < 42)
         health();
      else if (draw < 56)
         tool();
      else if (draw < 62)
         add("tools-well");
      else if (draw < 68)
         add("file", anyPlace().name, oneOf(files), below(4));
      else if (draw < 76)
         fileSystem();
      else if (draw < 83)
         mount();
      else if (draw < 91)
         disk();
      else
         unit(draw);
   }

   void tool() {
      auto const & place = anyPlace();
      auto const act = oneOf(toolActs);
      bool const isLarge = act == word(ToolAct::floods) || act == word(ToolAct::swells);
      int const which = below(act == word(ToolAct::swells) ? 2 : 3);
      add("tool", place.name, act, which);
      if (!isLarge)
         return;
      now_ += shortWhile;  // each poll of it takes a thousand times as long
      if (act == word(ToolAct::swells))
         scarceMemory();
      add("tool", place.name, word(ToolAct::reports), which);
   }

   void scarceMemory() {
      add("memory", "-", "-", 0);
      now_ += shortWhile;
      add("memory", "-", "-", 1);
      now_ += below(shortWhile);
   }

   static std::string_view word(ToolAct act) { return toolActs[static_cast<std::size_t>(act)]; }

   void kernelLines() {
      auto const & place = anyPlace();
      add("kernel", place.name, oneOf(kernelForms), 1 + (below(10) == 0 ? below(400) : 0));
      if (below(3) == 0)
         add("kernel", place.name, oneOf(kernelForms), 1);
   }

   void health() {
      switch (below(13)) {
         case 0:
         case 1:
         case 2: {
            auto const place = oneOf(worn);
            add("wears", place, "-", wear());
            add("writes", place, "-", below(900));
            break;
         }
         case 3:
            if (below(3) == 0)
               add("new", anyPlace().name);
            break;
         case 4:
            add("passed", anyPlace().name, "-", below(2));
            break;
         case 5:
            add("below-threshold", oneOf(attributed), "-", below(2));
            break;
         case 6:
            add(oneOf(counts), oneOf(attributed), "-", below(3));
            break;
         case 7:
            add(below(3) == 0 ? "media-errors" : "warning", "nvme", "-", below(32));
            break;
         case 8:
            add("spare", "nvme", "-", below(40));
            add("end-of-life", "emmc", "-", 1 + below(3));
            break;
         default:
            add("temperature", oneOf(hot), "-",
                temperatures[static_cast<std::size_t>(below(temperatures.size()))]);
      }
   }

   // What a file system has in use: unknown, anything, or beside the threshold.
   int percent() {
      constexpr int threshold = 85;
      switch (below(4)) {
         case 0:
            return -1;
         case 1:
            return 1 + below(100);
         default:
            return threshold + below(2);
      }
   }

   // Percent of its life; seldom all of it.
   int wear() {
      if (below(15) == 0)
         return 100;
      return below(2) == 0 ? 5 + below(50) : 1 + below(3);
   }

   void fileSystem() {
      auto const & place = fixedPlace();
      switch (below(4)) {
         case 0:
            add("full", place.name, "-", percent());
            break;
         case 1:
            add("folder", place.name, "-", below(2));
            break;
         default:
            add("io", place.name, oneOf(ioFaults), below(errorCount));
      }
   }

   void mount() { add("mount", fixedPlace().name, oneOf(mounts)); }

   void disk() {
      auto const & place = anyPlace();
      switch (below(5)) {
         case 0:
            add("pull", place.name);
            break;
         case 1:
            add("change", place.name);
            break;
         case 2:
            add("pull", place.name);
            add("plug-new", place.name, "-", below(2));
            break;
         default:
            add("plug", place.name, "-", below(2));
      }
   }

   void unit(int draw) {
      if (draw < 94)
         add("clock", "-", "-", below(2) == 0 ? below(400000) - 200000 : below(7200) - 3600);
      else if (draw < 96)
         add("sleep", "-", "-", 1 + below(below(4) == 0 ? 300000 : 900));
      else if (draw < 98)
         restart();
      else if (draw < 99)
         add("forget");
      else
         add("interval", "-", "-", below(4) == 0 ? 10 + below(600) : 60);
   }

   // What is mounted is looked at once, at the start.
   void restart() {
      if (below(2) == 0)
         add("file", fixedPlace().name, "mount-source", below(4));
      add("restart");
   }

   static constexpr std::array<std::string_view, 4> files{"stat", "life_time", "pre_eol_info",
                                                          "mount-source"};
   static constexpr std::array<std::string_view, 4> counts{"reallocated", "pending", "uncorrectable",
                                                           "timeouts"};
   static constexpr std::array<std::string_view, 4> worn{"flash", "drive", "nvme", "emmc"};
   static constexpr std::array<std::string_view, 2> hot{"flash", "nvme"};
   // Leaps to a limit of just 20 degrees, or of 21; readings beside each limit.
   static constexpr std::array<int, 14> temperatures{20, 35, 49, 50, 59, 60, 67, 68, 69, 70, 77, 78, 80, 81};
   static constexpr std::array<std::string_view, 2> attributed{"flash", "drive"};
   static constexpr std::array<std::string_view, 10> ioFaults{"none",  "none",  "none", "open",  "lseek",
                                                              "write", "fsync", "read", "close", "lies"};
   static constexpr int errorCount = 6;
   static constexpr std::array<std::string_view, 6> mounts{"good",      "good", "good",
                                                           "read-only", "gone", "other"};
   static constexpr std::array<std::string_view, 8> kernelForms{"port", "buffer", "block",     "end-request",
                                                                "ext4", "sense",  "partition", "nonsense"};

   std::mt19937 random_;
   double now_ = 0;
   Script script_;
};

Event eventOf(std::string const & line, std::size_t number) {
   std::istringstream words{line};
   Event event;
   std::string rest;
   if (!(words >> event.time >> event.word >> event.place >> event.detail >> event.number) || words >> rest)
      throw std::runtime_error{"line " + std::to_string(number) + ": no event: " + line};
   return event;
}

}  // namespace

Script randomScript(std::uint32_t seed, double span) {
   return Maker{seed}.script(span);
}

void write(std::ostream & out, Script const & script) {
   for (Event const & event : script)
      out << std::fixed << std::setprecision(4) << event.time << ' ' << event.word << ' ' << event.place
          << ' ' << event.detail << ' ' << event.number << '\n';
}

Script read(std::istream & in) {
   Script script;
   std::size_t number = 0;
   for (std::string line; std::getline(in, line);) {
      ++number;
      if (!line.empty() && line.front() != '#')
         script.push_back(eventOf(line, number));
   }
   return script;
}

}  // namespace Endurance
