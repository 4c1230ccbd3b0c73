// Stands before the C library's function of the same name.
#include "tests/support/SpawnFailure.h"

#include <dlfcn.h>
#include <spawn.h>

#include <string_view>
#include <utility>

namespace {

int spawnError = 0;
std::string programEnding;

using Spawn = decltype(&posix_spawn);

}  // namespace

namespace Support {

SpawnFailure::SpawnFailure(int error, std::string ending) {
   spawnError = error;
   programEnding = std::move(ending);
}

SpawnFailure::~SpawnFailure() {
   spawnError = 0;
}

}  // namespace Support

extern "C" [[gnu::visibility("default")]] int posix_spawn(pid_t * pid, char const * path,
                                                          posix_spawn_file_actions_t const * actions,
                                                          posix_spawnattr_t const * attributes,
                                                          char * const argv[], char * const environment[]) {
   static auto const real = reinterpret_cast<Spawn>(dlsym(RTLD_NEXT, "posix_spawn"));
   bool const fails = spawnError != 0 && std::string_view{path}.ends_with(programEnding);
   return fails ? spawnError : real(pid, path, actions, attributes, argv, environment);
}
