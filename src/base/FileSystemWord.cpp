#include "base/FileSystemWord.h"

#include "base/JsonView.h"

namespace Base {

namespace {

std::string_view testWord(std::string_view state, bool running) {
   if (!running)
      return "stopped";
   if (state == "idle")
      return "tested";
   return state == "setup" ? "waiting" : "testing";
}

}  // namespace

std::string_view fileSystemWord(rapidjson::Value const * mountPoint) {
   auto const * const test = jsonMember(mountPoint, "fsHealth");
   if (auto const running = jsonBool(test, "running"))
      return testWord(jsonText(test, "state"), *running);
   if (!jsonNumber(mountPoint, "initialMountFailuresRemaining").has_value())
      return {};
   // Seen, and too bad for a test.
   return jsonMember(mountPoint, "device") != nullptr ? "stopped" : "unmounted";
}

}  // namespace Base
