#include "command/machine/Reload.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include "StorageDevices/DiscoveryPreview.h"
#include "agent/config/ApplianceConfig.h"
#include "agent/config/ConfigFile.h"
#include "agent/config/ProgramEnd.h"
#include "base/DefaultPaths.h"
#include "base/JsonView.h"
#include "base/Text.h"
#include "command/Output.h"
#include "command/StatusClient.h"

namespace Command {

namespace {

namespace fs = std::filesystem;

constexpr char resource[] = "/api/v1/state?history=0";
constexpr char stays[] = "; the agent's configuration stays as it was";

std::uint64_t wholeNumber(rapidjson::Value const * object, char const * name) {
   auto const * const value = Base::jsonMember(object, name);
   return value != nullptr && value->IsUint64() ? value->GetUint64() : 0;
}

// The number that the process has in its own, innermost container.
pid_t ownIdOf(pid_t process) {
   std::ifstream status{"/proc/" + std::to_string(process) + "/status"};
   for (std::string line; std::getline(status, line);)
      if (line.starts_with("NSpid:")) {
         std::istringstream ids{line.substr(line.find(':') + 1)};
         for (pid_t id = 0; ids >> id;)
            process = id;
      }
   return process;
}

// Refuses to signal anything but the agent: a relay of its socket would end by a SIGHUP.
void checkIsAgent(AnsweringProcess const & process, AgentConfiguration const & agent,
                  std::string const & socket) {
   if (process.id != 0 && ownIdOf(process.id) == agent.processId)
      return;
   throw std::runtime_error{Base::escaped(socket) +
                            ": another process stands between this socket and the agent: reload it where it "
                            "runs, by SIGHUP to its process " +
                            std::to_string(agent.processId)};
}

bool isSameFile(std::string const & a, std::string const & b) {
   std::error_code error;
   return fs::equivalent(a, b, error) ||
          fs::absolute(a).lexically_normal() == fs::absolute(b).lexically_normal();
}

std::vector<std::string> applianceErrorsOf(Agent::Config const & config) {
   auto errors = StorageDevices::applianceErrors(Pelm::String{config.appliance.etcDir});
   if (auto const error = Agent::mountSourceError(config.appliance.mountSourceDir))
      errors.push_back(*error);
   return errors;
}

// What check-config would refuse.
std::vector<std::string> errorsOf(std::string const & file) {
   // A pipe that the agent has inherited can be read by nobody else; the agent's own error names the remedy.
   if (file.starts_with("/dev/") || file.starts_with("/proc/"))
      return {};
   try {
      bool const usual = file == Base::defaultConfigPath;
      return applianceErrorsOf(Agent::configAt(usual ? std::nullopt : std::optional{file}));
   } catch (Agent::ConfigError const & error) {
      return {error.what()};
   }
}

void signalAgent(AnsweringProcess const & process) {
   std::string const agent = "the agent (process " + std::to_string(process.id) + ")";
   if (!process.handle)
      throw std::runtime_error{agent + " cannot be signalled safely on this kernel: use \"kill -HUP " +
                               std::to_string(process.id) + "\""};
   if (syscall(SYS_pidfd_send_signal, process.handle.get(), SIGHUP, nullptr, 0) == 0)
      return;
   if (errno == EPERM)
      throw std::runtime_error{agent + " belongs to another user: run this as root or as that user"};
   if (errno == ESRCH)
      throw std::runtime_error{agent + " has ended: start it again"};
   throw std::system_error{errno, std::generic_category(), agent + " cannot be signalled"};
}

// The agent's report of a reload after `before`.
AgentConfiguration outcomeAfter(AgentConfiguration const & before, ReloadOptions const & options) {
   constexpr std::chrono::milliseconds pause{20};
   auto const deadline = std::chrono::steady_clock::now() + options.patience;
   while (std::chrono::steady_clock::now() < deadline) {
      auto now = agentConfiguration(askAgent(options.socket, resource));
      if (now.processId != before.processId)
         throw std::runtime_error{"the agent was restarted meanwhile, and so has read its configuration"};
      if (now.reloads != before.reloads)
         return now;
      std::this_thread::sleep_for(pause);
   }
   throw std::runtime_error{"the agent (process " + std::to_string(before.processId) +
                            ") reports no reload within " + std::to_string(options.patience.count()) +
                            " ms: see its log"};
}

}  // namespace

AgentConfiguration agentConfiguration(std::string_view state) {
   auto const document = Base::parsedJson(state, "state document");
   auto const * const said = Base::jsonMember(&document, "configuration");
   auto const * const last = Base::jsonMember(said, "lastReload");
   AgentConfiguration result;
   result.file = Base::jsonText(said, "file");
   result.processId = static_cast<pid_t>(wholeNumber(said, "processId"));
   result.reloads = wholeNumber(said, "reloads");
   result.good = Base::jsonBool(last, "good").value_or(false);
   result.text = Base::jsonText(last, "text");
   if (result.file.empty() || result.processId <= 0)
      throw std::runtime_error{
          "the agent does not say where its configuration is: is it of the same version as this program?"};
   return result;
}

int reload(ReloadOptions const & options) {
   auto const [body, process] = askAgentProcess(options.socket, resource);
   auto const agent = agentConfiguration(body);
   checkIsAgent(process, agent, options.socket);
   if (options.configPath && !isSameFile(*options.configPath, agent.file))
      return Agent::failWith(Agent::exitWrongUsage, *options.configPath + ": the agent reads another file, " +
                                                        agent.file +
                                                        ": change that, or start the agent with --config");
   auto const errors = errorsOf(agent.file);
   for (std::string const & error : errors)
      Agent::failWith(Agent::exitWrongUsage, error + stays);
   if (!errors.empty())
      return Agent::exitWrongUsage;
   signalAgent(process);
   auto const outcome = outcomeAfter(agent, options);
   if (!outcome.good)
      return Agent::failWith(Agent::exitWrongUsage, outcome.text);
   print(Base::escaped(outcome.text) + "\n");
   return 0;
}

}  // namespace Command
