// Any configuration file is read, or refused with one line that is safe to print.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "agent/config/Config.h"
#include "base/Text.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   // The fuzzer's bytes are characters here.
   // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast)
   std::string_view const text{reinterpret_cast<char const *>(data), size};
   try {
      Agent::Config const config = Agent::parseConfig(text, "fuzz.toml");
      if (config.pollInterval < 1 || !(config.timeScale > 0))
         std::abort();
   } catch (Agent::ConfigError const & error) {
      std::string const line = error.what();
      if (Base::escaped(line) != line || !line.starts_with("fuzz.toml:"))
         std::abort();
   }
   return 0;
}
