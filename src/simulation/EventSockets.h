// The sockets on which processes receive the events of a test bed.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace StorageDevices::Simulation {

class EventSockets {
 public:
   explicit EventSockets(std::filesystem::path folder);

   // The sockets on which a process still listens.
   std::vector<std::string> live() const;
   // Whether each live socket has room for another event within the time.
   bool haveRoom(std::chrono::milliseconds wait) const;

   // For its scope no event of umockdev reaches a listener: the sockets are renamed.
   class Hidden {
    public:
      explicit Hidden(EventSockets const & sockets);
      ~Hidden();
      Hidden(Hidden const &) = delete;
      Hidden & operator=(Hidden const &) = delete;

    private:
      std::vector<std::string> paths_;
   };

 private:
   std::vector<std::string> all() const;

   std::filesystem::path folder_;
};

}  // namespace StorageDevices::Simulation
