#include "simulation/FakeTools.h"

#include <array>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "simulation/TextFile.h"

namespace StorageDevices::Simulation {

namespace {

// Common to all tools: `base` names the device's files, `output` the one to print.
constexpr std::string_view answer = R"sh(
hang=
[ ! -e "$base.hang" ] || hang=1
printf '%s\n' "${0##*/} $*" >>"$data/runs"
[ -z "$hang" ] || exec sleep 2147483647
[ ! -e "$base.delay" ] || sleep "$(cat "$base.delay")"
if [ ! -e "$output" ]; then
   echo "$device: No such file or directory" >&2
   exit 2
fi
cat "$output"
[ ! -e "$base.exit" ] || exit "$(cat "$base.exit")"
)sh";

constexpr std::string_view hdparmArguments = R"sh(
if [ $# -ne 2 ] || [ "$1" != -I ]; then
   echo "hdparm: only -I DEVICE is simulated" >&2
   exit 22
fi
device=$2
base=$data/hdparm/${device##*/}
output=$base
)sh";

constexpr std::string_view nvmeArguments = R"sh(
case "$# $1 $2 $3" in
"4 list -o json") device=$4 ;;
"3 smart-log --output-format=json "*) device=$3 ;;
*)
   echo "nvme: only list -o json DEVICE and smart-log --output-format=json DEVICE are simulated" >&2
   exit 22
   ;;
esac
base=$data/nvme-$1/${device##*/}
output=$base.json
)sh";

constexpr std::string_view smartctlArguments = R"sh(
case "$# $*" in
"4 --json=c --offlineauto=on -HA "*) device=$4 ;;
"6 --json=c --offlineauto=on -HA -d scsi "*) device=$6 ;;
*)
   echo "smartctl: only --json=c --offlineauto=on -HA [-d scsi] DEVICE is simulated" >&2
   exit 1
   ;;
esac
base=$data/smartctl/${device##*/}
output=$base.json
)sh";

constexpr std::array tools{Tool::hdparm, Tool::nvmeList, Tool::nvmeSmartLog, Tool::smartctl};

char const * folderOf(Tool tool) {
   constexpr std::array folders{"hdparm", "nvme-list", "nvme-smart-log", "smartctl"};
   return folders.at(static_cast<std::size_t>(tool));
}

char const * outputSuffix(Tool tool) {
   return tool == Tool::hdparm ? "" : ".json";
}

std::string quotedForShell(std::string_view text) {
   std::string quoted = "'";
   for (char const c : text)
      quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
   return quoted + "'";
}

void scriptIs(std::filesystem::path const & path, std::filesystem::path const & data,
              std::string_view arguments) {
   std::string text = "#!/bin/sh\ndata=${SIMULATION_TOOL_DATA:-" + quotedForShell(data.string()) + "}";
   text.append(arguments).append(answer);
   textFileIs(path, text);
   std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

}  // namespace

FakeTools::FakeTools(std::filesystem::path folder) : folder_(std::move(folder)) {
   std::filesystem::create_directories(path());
   for (auto const tool : tools)
      std::filesystem::create_directories(data() / folderOf(tool));
   scriptIs(path() / "hdparm", data(), hdparmArguments);
   scriptIs(path() / "nvme", data(), nvmeArguments);
   scriptIs(path() / "smartctl", data(), smartctlArguments);
}

std::filesystem::path FakeTools::file(Tool tool, std::string_view name, std::string_view suffix) const {
   if (name.empty() || name.find('/') != std::string_view::npos)
      throw std::invalid_argument("'" + std::string(name) + "' is no kernel name");
   return data() / folderOf(tool) / std::string(name).append(suffix);
}

void FakeTools::outputIs(Tool tool, std::string_view name, std::string_view text) {
   textFileIs(file(tool, name, outputSuffix(tool)), text);
}

void FakeTools::outputDel(Tool tool, std::string_view name) {
   std::filesystem::remove(file(tool, name, outputSuffix(tool)));
}

void FakeTools::exitCodeIs(Tool tool, std::string_view name, int code) {
   if (code < 0 || code > 255)
      throw std::invalid_argument("an exit code is 0 to 255");
   textFileIs(file(tool, name, ".exit"), std::to_string(code));
}

void FakeTools::delayIs(Tool tool, std::string_view name, double seconds) {
   auto const path = file(tool, name, ".delay");
   if (seconds <= 0)
      std::filesystem::remove(path);
   else
      textFileIs(path, std::to_string(seconds));
}

void FakeTools::hangsIs(Tool tool, std::string_view name, bool hangs) {
   auto const path = file(tool, name, ".hang");
   if (hangs)
      textFileIs(path, "");
   else
      std::filesystem::remove(path);
}

void FakeTools::deviceDel(std::string_view name) {
   for (auto const tool : tools)
      for (auto const * suffix : {"", ".json", ".exit", ".delay", ".hang"})
         std::filesystem::remove(file(tool, name, suffix));
}

std::vector<std::string> FakeTools::runs() const {
   std::vector<std::string> lines;
   std::ifstream in(data() / "runs");
   for (std::string line; std::getline(in, line);)
      lines.push_back(line);
   return lines;
}

}  // namespace StorageDevices::Simulation
