#include "command/FileSystemWord.h"

#include "command/JsonView.h"

namespace Agent {

namespace {

// The two phases have a verdict only when the test is over, which is while it waits for the next one.
std::string_view testWord(rapidjson::Value const * test, bool running) {
   std::string const state = jsonText(test, "state");
   if (!running)
      return "stopped";
   if (state != "idle")
      return state == "setup" ? "waiting" : "testing";
   bool const good =
       jsonBool(test, "writeTestOk").value_or(false) && jsonBool(test, "readTestOk").value_or(false);
   return good ? "ok" : "failed";
}

}  // namespace

std::string_view fileSystemWord(rapidjson::Value const * mountPoint) {
   auto const * const test = jsonMember(mountPoint, "fsHealth");
   if (auto const running = jsonBool(test, "running"))
      return testWord(test, *running);
   if (!jsonNumber(mountPoint, "initialMountFailuresRemaining").has_value())
      return {};
   // Seen, and too bad for a test.
   return jsonMember(mountPoint, "device") != nullptr ? "stopped" : "unmounted";
}

}  // namespace Agent
