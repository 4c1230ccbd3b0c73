// A filter in front of the real nvme on the tools' search path. It runs the real program, and converts the
// output of the commands that the library uses to the library's layout.

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nvme-compat/NvmeLayout.h"
#include "nvme-compat/RealTool.h"

namespace {

using NvmeCompat::NvmeCommand;

constexpr std::size_t largestOutput = std::size_t{4} << 20U;
constexpr int toolFailed = 1;
constexpr int notExecutable = 126;
constexpr int notFound = 127;

bool asksForJson(std::vector<std::string_view> const & arguments) {
   bool isFormat = false;
   for (std::string_view const argument : arguments) {
      if ((isFormat && argument == "json") || argument == "-ojson" || argument == "-o=json" ||
          argument == "--output-format=json")
         return true;
      isFormat = argument == "-o" || argument == "--output-format";
   }
   return false;
}

// Nothing: the output is passed on unchanged.
std::optional<NvmeCommand> commandOf(std::vector<std::string_view> const & arguments) {
   if (arguments.size() < 2 || !asksForJson(arguments))
      return std::nullopt;
   if (arguments[1] == "smart-log")
      return NvmeCommand::smartLog;
   return arguments[1] == "list" ? std::optional{NvmeCommand::list} : std::nullopt;
}

[[noreturn]] void runFiltered(NvmeCommand command, std::string const & program, char ** argv) {
   std::signal(SIGCHLD, SIG_DFL);  // an ignored SIGCHLD would hide the tool's exit status
   NvmeCompat::ToolRun tool(program, argv);
   std::string const output = tool.output(largestOutput);
   if (output.size() > largestOutput) {
      NvmeCompat::print(output);
      tool.passOutput();
      tool.endAlike();
   }
   NvmeCompat::Layout layout;
   if (tool.succeeded())
      layout = NvmeCompat::knownLayout(command, output);
   if (layout.kind == NvmeCompat::Layout::Kind::error) {
      std::fprintf(stderr, "nvme: %s\n", layout.text.c_str());
      tool.endAlike(toolFailed);
   }
   bool const isRewritten = layout.kind == NvmeCompat::Layout::Kind::rewritten;
   NvmeCompat::print(isRewritten ? layout.text : output);
   tool.endAlike();
}

int run(std::vector<std::string_view> const & arguments, char ** argv) {
   char const * const path = std::getenv("PATH");
   std::string const program = NvmeCompat::findRealTool("nvme", path != nullptr ? path : "");
   if (program.empty()) {
      std::fputs("nvme: not on PATH behind the agent's filter; install nvme-cli or set tools.path\n", stderr);
      return notFound;
   }
   if (auto const command = commandOf(arguments))
      runFiltered(*command, program, argv);
   execv(program.c_str(), argv);
   std::fprintf(stderr, "nvme: %s: %s\n", program.c_str(), std::strerror(errno));
   return notExecutable;
}

}  // namespace

int main(int argc, char ** argv) {
   try {
      return run({argv, argv + argc}, argv);
   } catch (std::bad_alloc const &) {
      std::fputs("nvme: not enough memory for what it prints\n", stderr);
      return toolFailed;
   } catch (std::exception const & error) {
      std::fprintf(stderr, "nvme: %s\n", error.what());
      return toolFailed;
   }
}
