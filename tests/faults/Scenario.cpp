#include "tests/faults/Scenario.h"

#include <fcntl.h>
#include <rapidjson/document.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string_view>

#include "base/UniqueFd.h"
#include "base/UnixAddress.h"
#include "command/StatusClient.h"

namespace Faults {

namespace Simulation = StorageDevices::Simulation;

namespace {

using std::chrono::seconds;

// The unit did not do what it must.
class Wrong : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

class RefusedStart : public std::exception {};

class Play {
 public:
   Play(Appliance & appliance, AgentRun & agent) : appliance_{appliance}, agent_{agent} {}

   void all(std::size_t descriptors) {
      settles();
      reloads();
      followsAStick();
      servesEverything();
      settles();
      rests(descriptors);
      stops();
   }
   std::size_t descriptors() const { return descriptors_; }

 private:
   static constexpr seconds patience{30};

   void must(std::string const & what, std::function<bool()> const & condition) {
      auto const deadline = std::chrono::steady_clock::now() + patience;
      while (!condition()) {
         if (!agent_.running())
            ended(what);
         if (std::chrono::steady_clock::now() > deadline)
            throw Wrong{"does not " + what + lacking()};
         usleep(20000);
      }
   }

   [[noreturn]] void ended(std::string const & before) {
      int const status = agent_.status();
      bool const refuses =
          !hasAnswered_ && WIFEXITED(status) && (WEXITSTATUS(status) == 1 || WEXITSTATUS(status) == 2);
      if (refuses && agent_.log().find('\n') != std::string::npos)
         throw RefusedStart{};
      throw Wrong{"ended with status " + std::to_string(status) + " before it did " + before};
   }

   std::string answer(std::string const & resource) {
      try {
         std::string body = Command::askAgent(appliance_.socket(), resource);
         hasAnswered_ = true;
         return body;
      } catch (Command::StatusError const &) {
         return "";
      }
   }

   bool readState() {
      lacking_.clear();
      rapidjson::Document document;
      document.Parse(answer("/api/v1/state").c_str());
      state_.Swap(document);
      return state_.IsObject();
   }

   // Every monitor has read what is its own, and every disk is well.
   void settles() {
      must("show all disks ok", [&] { return readState() && everythingIsRead() && everythingIsOk(); });
   }
   bool everythingIsRead() {
      if (!state_["smartData"].HasMember("SN-A"))
         lacking_ = "the SMART data";
      else if (!state_["nvmeData"].HasMember("SN-N"))
         lacking_ = "the NVMe data";
      else if (state_["emmcData"].ObjectEmpty())
         lacking_ = "the eMMC data";
      else if (state_["ioStatData"].MemberCount() != 3)
         lacking_ = "the statistics of three disks";
      else
         lacking_ = isTested("/mnt/drive") && isTested("/mnt/flash") ? "" : "a good test of each file system";
      return lacking_.empty();
   }
   bool isTested(char const * point) const {
      if (!state_["mountPoints"].HasMember(point) || !state_["mountPoints"][point].HasMember("fsHealth"))
         return false;
      auto const & test = state_["mountPoints"][point]["fsHealth"];
      return test["writeTestOk"].GetBool() && test["readTestOk"].GetBool();
   }
   std::string lacking() const { return lacking_.empty() ? "" : "; it lacks " + lacking_; }
   bool everythingIsOk() {
      auto const & verdicts = state_["verdicts"];
      lacking_ = "three disks, each with the verdict ok";
      return verdicts.MemberCount() == 3 && state_["unit"]["verdict"] == "ok" &&
             std::all_of(verdicts.MemberBegin(), verdicts.MemberEnd(),
                         [](auto const & verdict) { return verdict.value["verdict"] == "ok"; });
   }

   // A signal may arrive while the agent cannot read its file. It then says so and goes on.
   void reloads() {
      auto const count = [&] { return readState() ? state_["configuration"]["reloads"].GetUint64() : 0; };
      auto const before = count();
      int attempts = 0;
      must("read its configuration again", [&] {
         constexpr int between = 25;
         if (attempts++ % between == 0)
            kill(agent_.pid(), SIGHUP);
         return count() > before;
      });
   }

   void followsAStick() {
      appliance_.unit.plug(Simulation::usbDisk("sdb", "1-1.2", "STICK", "Stick", 60000000));
      auto const hasStick = [&] {
         return readState() && state_["connectedDevices"]["disk"].HasMember("STICK");
      };
      try {
         must("show a stick", hasStick);
         must("log an error of the kernel", [&] {
            kernelSays("kernel: [12.5] blk_update_request: I/O error, dev sdb, sector 2048");
            return answer("/api/v1/messages").find("STORAGEDEVICE_IO_ERROR_EXTERNAL_USB") !=
                   std::string::npos;
         });
      } catch (...) {
         appliance_.unit.unplug("sdb");
         throw;
      }
      appliance_.unit.unplug("sdb");
      must("forget the stick", [&] { return readState() && !hasStick(); });
   }
   void kernelSays(std::string const & line) const {
      Base::UniqueFd const socket{::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
      Base::UnixAddress const address{appliance_.kernelSocket()};
      sendto(socket.get(), line.data(), line.size(), 0, address.get(), address.size());
   }

   void servesEverything() {
      std::map<std::string, std::string> const parts{
          {"/api/v1/messages?after=0", "\"sequence\":1"},
          {"/api/v1/history?disk=SN-A&hours=1", "\"temperature\""},
          {"/metrics", "storagedevices_disk_verdict"},
          {"/healthz", ""},
          {"/", "</html>"},
      };
      for (auto const & [resource, part] : parts)
         must("serve " + resource, [&, this] {
            std::string const body = answer(resource);
            return !body.empty() && body.find(part) != std::string::npos;
         });
      must("send events", [&] { return sendsEvents(); });
   }
   bool sendsEvents() const {
      std::string stream;
      class Enough {};
      try {
         Command::streamFromAgent(
             appliance_.socket(), "/api/v1/events?after=0",
             [&](std::string_view part) {
                stream += part;
                if (stream.find("event: message") != std::string::npos)
                   throw Enough{};
             },
             seconds{2});
      } catch (Enough const &) {
         return true;
      } catch (Command::StatusError const &) {
         return false;
      }
      return false;
   }

   // The least number of descriptors in a second: between two polls no tool runs.
   void rests(std::size_t expected) {
      std::size_t least = std::numeric_limits<std::size_t>::max();
      must("close all descriptors: " + std::to_string(expected) + " expected", [&] {
         constexpr int samples = 50;
         for (int sample = 0; sample < samples && (expected == 0 || least > expected); ++sample) {
            if (agent_.children() == 0)
               least = std::min(least, agent_.descriptors());
            usleep(20000);
         }
         lacking_ = "rest: " + std::to_string(least) + " are open";
         return expected == 0 ? least < std::numeric_limits<std::size_t>::max() : least <= expected;
      });
      descriptors_ = least;
   }

   void stops() {
      kill(agent_.pid(), SIGTERM);
      if (!agent_.endsWithin(seconds{10}))
         throw Wrong{"does not end within ten seconds"};
      if (!WIFEXITED(agent_.status()) || WEXITSTATUS(agent_.status()) != 0)
         throw Wrong{"ended with status " + std::to_string(agent_.status()) + " after SIGTERM"};
      if (agent_.children() > 0)
         throw Wrong{"left a child behind"};
   }

   Appliance & appliance_;
   AgentRun & agent_;
   rapidjson::Document state_;
   bool hasAnswered_ = false;
   std::string lacking_;
   std::size_t descriptors_ = 0;
};

// A file that cannot be removed stays, and the next start replaces it.
bool leavesSockets(Appliance const & appliance) {
   return std::filesystem::exists(appliance.socket()) || std::filesystem::exists(appliance.kernelSocket());
}

void playOnce(Appliance & appliance, Trial const & trial, std::size_t descriptors, Outcome & outcome,
              Survey * survey) {
   AgentRun agent{appliance, trial.fault, trial.allocation};
   Play play{appliance, agent};
   try {
      play.all(descriptors);
   } catch (RefusedStart const &) {
      outcome.refused = true;
   } catch (Wrong const & wrong) {
      outcome.wrong =
          wrong.what() +
          ("; its log ends with: " +
           agent.log().substr(agent.log().size() - std::min<std::size_t>(agent.log().size(), 600)));
   }
   outcome.descriptors = play.descriptors();
   if (trial.allocation > 0)
      outcome.callers = Support::fileContent(appliance.folder.path() / "allocation");
   outcome.reached = agent.hasFailedOne();
   bool const unlinkFailed = trial.fault && trial.fault->place.starts_with("unlink");
   if (outcome.wrong.empty() && !unlinkFailed && leavesSockets(appliance))
      outcome.wrong = "left a socket behind";
   if (survey) {
      survey->places = agent.supervisor().places();
      survey->others = agent.supervisor().others();
   }
}

}  // namespace

std::string Trial::name() const {
   if (allocation > 0)
      return "allocation#" + std::to_string(allocation);
   return fault ? fault->place + "#" + std::to_string(fault->ordinal) + "=" + strerrorname_np(fault->error)
                : "nothing";
}

Outcome play(Appliance & appliance, Trial const & trial, std::size_t descriptors, Survey * survey) {
   Outcome outcome;
   playOnce(appliance, trial, descriptors, outcome, survey);
   if (!outcome.refused)
      return outcome;
   Outcome next;
   playOnce(appliance, {}, descriptors, next, nullptr);
   if (next.refused || !next.wrong.empty())
      outcome.wrong = "the start after a refused one: " + next.wrong;
   return outcome;
}

}  // namespace Faults
