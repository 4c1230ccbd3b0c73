#include "simulation/EventSockets.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

namespace Agent::Simulation {

namespace {

// A socket connected to a listener; the descriptor is -1 without a listener.
class Sender {
 public:
   explicit Sender(std::string const & path) {
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      if (path.size() >= sizeof address.sun_path)
         return;
      std::memcpy(address.sun_path, path.data(), path.size());
      descriptor_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
      // The socket interface takes every kind of address as the general one.
      auto const * general = static_cast<sockaddr const *>(static_cast<void const *>(&address));
      if (descriptor_ >= 0 && connect(descriptor_, general, sizeof address) != 0) {
         close(descriptor_);
         descriptor_ = -1;
      }
   }
   ~Sender() {
      if (descriptor_ >= 0)
         close(descriptor_);
   }
   Sender(Sender const &) = delete;
   Sender & operator=(Sender const &) = delete;

   bool connected() const { return descriptor_ >= 0; }

   // A connected datagram socket is writable when the receiver's queue has room.
   bool writable(std::chrono::milliseconds wait) const {
      pollfd entry{descriptor_, POLLOUT, 0};
      return poll(&entry, 1, static_cast<int>(wait.count())) > 0;
   }

 private:
   int descriptor_ = -1;
};

}  // namespace

EventSockets::EventSockets(std::filesystem::path folder) : folder_(std::move(folder)) {}

std::vector<std::string> EventSockets::all() const {
   std::vector<std::string> paths;
   for (auto const & entry : std::filesystem::directory_iterator(folder_))
      if (entry.path().filename().string().starts_with("event"))
         paths.push_back(entry.path());
   return paths;
}

std::vector<std::string> EventSockets::live() const {
   auto paths = all();
   std::erase_if(paths, [](auto const & path) { return !Sender(path).connected(); });
   return paths;
}

namespace {

std::string hiddenPath(std::filesystem::path const & path) {
   return path.parent_path() / ("hidden-" + path.filename().string());
}

}  // namespace

EventSockets::Hidden::Hidden(EventSockets const & sockets) : paths_(sockets.all()) {
   for (auto const & path : paths_)
      std::rename(path.c_str(), hiddenPath(path).c_str());
}

EventSockets::Hidden::~Hidden() {
   for (auto const & path : paths_) {
      auto const hidden = hiddenPath(path);
      // A listener that started meanwhile has created that socket again.
      if (access(path.c_str(), F_OK) == 0)
         unlink(hidden.c_str());
      else
         std::rename(hidden.c_str(), path.c_str());
   }
}

bool EventSockets::haveRoom(std::chrono::milliseconds wait) const {
   auto const deadline = std::chrono::steady_clock::now() + wait;
   for (auto const & path : live()) {
      Sender const sender(path);
      auto const left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      if (sender.connected() && !sender.writable(std::max(left, std::chrono::milliseconds(0))))
         return false;
   }
   return true;
}

}  // namespace Agent::Simulation
