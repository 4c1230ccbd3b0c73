#include "base/Spawn.h"

#include <spawn.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

namespace Base {

namespace {

int place(posix_spawn_file_actions_t & actions, int fd, int stream) {
   if (fd == stream)
      return 0;
   return fd < 0 ? posix_spawn_file_actions_addclose(&actions, stream)
                 : posix_spawn_file_actions_adddup2(&actions, fd, stream);
}

int separate(posix_spawn_file_actions_t & actions, posix_spawnattr_t & attributes) {
   sigset_t all;
   sigset_t none;
   sigfillset(&all);
   sigemptyset(&none);
   posix_spawnattr_setflags(&attributes,
                            POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
   posix_spawnattr_setpgroup(&attributes, 0);
   posix_spawnattr_setsigmask(&attributes, &none);
   posix_spawnattr_setsigdefault(&attributes, &all);
   int const error = posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
   return error == EBADF ? 0 : error;  // EBADF: the limit of open files allows no other descriptor
}

}  // namespace

std::vector<std::string> environmentWith(Variables const & given) {
   std::vector<std::string> all;
   for (char ** entry = environ; entry && *entry; ++entry) {  // null after clearenv()
      std::string text{*entry};
      if (!given.contains(text.substr(0, text.find('='))))
         all.push_back(std::move(text));
   }
   for (auto const & [name, value] : given)
      all.emplace_back(name).append("=").append(value);
   return all;
}

std::vector<char *> textPointers(std::vector<std::string> & texts) {
   std::vector<char *> all;
   all.reserve(texts.size() + 1);
   for (std::string & text : texts)
      all.push_back(text.data());
   all.push_back(nullptr);
   return all;
}

int spawn(pid_t & pid, std::string const & program, char * const * arguments, char * const * environment,
          std::array<int, 3> const & streams, SpawnAs as) {
   posix_spawn_file_actions_t actions;
   posix_spawnattr_t attributes;
   posix_spawn_file_actions_init(&actions);
   posix_spawnattr_init(&attributes);
   int error = 0;
   for (int stream = 0; stream <= STDERR_FILENO && error == 0; ++stream)
      error = place(actions, streams[static_cast<std::size_t>(stream)], stream);
   if (as == SpawnAs::separate && error == 0)
      error = separate(actions, attributes);
   if (error == 0)
      error = posix_spawn(&pid, program.c_str(), &actions, &attributes, arguments, environment);
   posix_spawn_file_actions_destroy(&actions);
   posix_spawnattr_destroy(&attributes);
   return error;
}

}  // namespace Base
