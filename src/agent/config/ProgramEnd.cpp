#include "agent/config/ProgramEnd.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <new>
#include <system_error>

#include "agent/config/Config.h"
#include "base/Text.h"
#include "runtime/Vorn/Shortage.h"

namespace Agent {

int failWith(int code, std::string const & text) {
   std::fprintf(stderr, "%s\n", Base::escaped(text).c_str());
   return code;
}

int exitCodeOf(std::function<int()> const & program) {
   try {
      return program();
   } catch (ConfigError const & error) {
      return failWith(exitWrongUsage, error.what());
   } catch (std::system_error const & error) {
      return failWith(exitFailed, Vorn::errorAndRemedy(error));
   } catch (std::bad_alloc const &) {
      return failWith(exitFailed, Vorn::errorAndRemedy(ENOMEM));
   } catch (std::exception const & error) {
      return failWith(exitFailed, error.what());
   }
}

}  // namespace Agent
