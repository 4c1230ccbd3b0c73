#include "agent/tools/ChildList.h"

#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include "base/Number.h"

namespace Agent {

namespace {

std::string contentOf(std::string const & path) {
   std::ifstream file{path, std::ios::binary};
   return {std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
}

// For kernels that are built without the list of children.
std::vector<pid_t> allProcesses() {
   std::vector<pid_t> processes;
   std::error_code error;
   for (auto entry = std::filesystem::directory_iterator{"/proc", error};
        !error && entry != std::filesystem::directory_iterator{}; entry.increment(error))
      if (auto const pid = Base::parseWhole<pid_t>(entry->path().filename().native()))
         processes.push_back(*pid);
   return processes;
}

std::vector<pid_t> listed() {
   std::string const self = std::to_string(getpid());
   std::ifstream list{"/proc/self/task/" + self + "/children"};
   return list ? std::vector<pid_t>{std::istream_iterator<pid_t>{list}, std::istream_iterator<pid_t>{}}
               : allProcesses();
}

}  // namespace

std::optional<Child> childIn(std::string_view stat, pid_t parent) {
   auto const pid = Base::parseWhole<pid_t>(stat.substr(0, stat.find(' ')));
   std::size_t const nameEnd = stat.rfind(')');  // a name may have blanks and brackets
   if (!pid || nameEnd == std::string_view::npos)
      return std::nullopt;
   constexpr std::size_t parentAt = 1;
   constexpr std::size_t startedAt = 19;
   std::array<std::string_view, startedAt + 1> fields;  // from the state on
   stat.remove_prefix(nameEnd + 1);
   for (std::string_view & field : fields) {
      stat.remove_prefix(std::min(stat.find_first_not_of(' '), stat.size()));
      field = stat.substr(0, stat.find(' '));
      stat.remove_prefix(field.size());
   }
   auto const started = Base::parseWhole<std::uint64_t>(fields[startedAt]);
   if (fields.front().size() != 1 || Base::parseWhole<pid_t>(fields[parentAt]) != parent || !started)
      return std::nullopt;
   return Child{*pid, fields.front().front(), *started};
}

std::vector<Child> children() {
   std::vector<Child> found;
   for (pid_t const pid : listed())
      if (auto const child = childIn(contentOf("/proc/" + std::to_string(pid) + "/stat"), getpid()))
         found.push_back(*child);
   return found;
}

}  // namespace Agent
