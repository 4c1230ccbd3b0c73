#include "simulation/EventSockets.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "base/UniqueFd.h"
#include "base/UnixAddress.h"

namespace StorageDevices::Simulation {

namespace {

// A socket connected to a listener; none without a listener.
Base::UniqueFd connected(std::string const & path) {
   Base::UnixAddress const address(path);
   Base::UniqueFd sender(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
   if (connect(sender.get(), address.get(), address.size()) != 0)
      sender.reset();
   return sender;
}

// A connected datagram socket is writable when the receiver's queue has room.
bool writable(Base::UniqueFd const & sender, std::chrono::milliseconds wait) {
   pollfd entry{sender.get(), POLLOUT, 0};
   return poll(&entry, 1, static_cast<int>(wait.count())) > 0;
}

std::string hiddenPath(std::filesystem::path const & path) {
   return path.parent_path() / ("hidden-" + path.filename().string());
}

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
   std::erase_if(paths, [](auto const & path) { return !connected(path); });
   return paths;
}

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
      auto const sender = connected(path);
      auto const left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      if (sender && !writable(sender, std::max(left, std::chrono::milliseconds(0))))
         return false;
   }
   return true;
}

}  // namespace StorageDevices::Simulation
