#include "tests/faults/Supervisor.h"

#include <linux/filter.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <climits>
#include <filesystem>
#include <system_error>

namespace Faults {

namespace {

std::string textAt(pid_t process, std::uint64_t address) {
   std::array<char, PATH_MAX> text{};
   // Up to the page's end first: the next one may not exist.
   constexpr std::uint64_t page = 4096;
   iovec local{text.data(), text.size() - 1};
   std::array<iovec, 2> remote{{{reinterpret_cast<void *>(address), page - address % page},
                                {reinterpret_cast<void *>(address + page - address % page), page}}};
   process_vm_readv(process, &local, 1, remote.data(), remote.size(), 0);
   return text.data();
}

std::string descriptorName(pid_t process, std::uint64_t number) {
   std::error_code error;
   auto const link = std::filesystem::read_symlink(
       "/proc/" + std::to_string(process) + "/fd/" + std::to_string(static_cast<int>(number)), error);
   return error ? "" : link.string();
}

// The first call of the daemon's own. What the loader does before it is not the daemon's.
bool beginsTheDaemon(seccomp_data const & call) {
   return call.nr == SYS_getrandom && call.args[1] == sizeof(unsigned) && call.args[2] == GRND_NONBLOCK;
}

}  // namespace

int askBeforeEachCall() {
   prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
   sock_filter ask{BPF_RET | BPF_K, 0, 0, SECCOMP_RET_USER_NOTIF};
   sock_fprog const program{1, &ask};
   return static_cast<int>(
       syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program));
}

Supervisor::Supervisor(pid_t process, Base::UniqueFd asking, std::optional<Fault> fault,
                       Replacements replacements)
    : process_{process},
      asking_{std::move(asking)},
      fault_{std::move(fault)},
      replacements_{std::move(replacements)},
      thread_{[this] {
         constexpr int pauseMs = 50;
         while (!ends_) {
            pollfd call{asking_.get(), POLLIN, 0};
            if (poll(&call, 1, pauseMs) != 1)
               continue;
            if ((call.revents & POLLIN) == 0)
               return;  // nobody is left who could ask
            answer();
         }
      }} {}

Supervisor::~Supervisor() {
   ends_ = true;
   thread_.join();
}

void Supervisor::answer() {
   seccomp_notif asked{};
   if (ioctl(asking_.get(), SECCOMP_IOCTL_NOTIF_RECV, &asked) != 0)
      return;
   seccomp_notif_resp decided{};
   decided.id = asked.id;
   decided.error = -errorFor(asked);
   if (decided.error == 0)
      decided.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
   ioctl(asking_.get(), SECCOMP_IOCTL_NOTIF_SEND, &decided);
}

int Supervisor::errorFor(seccomp_notif const & asked) {
   if (!isOfProcess(static_cast<pid_t>(asked.pid)))
      return 0;
   counts_ = counts_ || beginsTheDaemon(asked.data);
   if (!counts_)
      return 0;
   Call const * const call = callOf(asked.data.nr);
   if (!call) {
      ++others_[asked.data.nr];
      return 0;
   }
   std::string const place = placeOf(asked, *call);
   unsigned long const ordinal = ++places_[place];
   if (!fault_ || fault_->place != place || fault_->ordinal != ordinal)
      return 0;
   failed_ = true;
   return fault_->error;
}

// Its children ask too.
bool Supervisor::isOfProcess(pid_t thread) const {
   return thread == process_ ||
          access(("/proc/" + std::to_string(process_) + "/task/" + std::to_string(thread)).c_str(), F_OK) ==
              0;
}

std::string Supervisor::placeOf(seccomp_notif const & asked, Call const & call) const {
   std::uint64_t const argument = asked.data.args[call.argument];
   switch (call.subject) {
      case Subject::path:
         return call.name + (" " + alike(textAt(process_, argument)));
      case Subject::descriptor:
         return call.name + (" " + alike(descriptorName(process_, argument)));
      case Subject::none:
         break;
   }
   return call.name;
}

std::string Supervisor::alike(std::string text) const {
   for (auto const & [from, to] : replacements_)
      for (auto at = text.find(from); at != std::string::npos; at = text.find(from))
         text.replace(at, from.size(), to);
   std::string same;
   for (char const c : text)
      if (std::isdigit(static_cast<unsigned char>(c)) == 0)
         same += c;
      else if (!same.ends_with('N'))
         same += 'N';
   return same;
}

}  // namespace Faults
