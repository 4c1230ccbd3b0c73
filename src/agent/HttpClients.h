// The clients of an HTTP server, and which of them has to make room for another one.
#pragma once

#include <array>
#include <cstddef>

struct MHD_Connection;

namespace Agent {

class HttpClients {
 public:
   static constexpr std::size_t places = 64;
   // Connections that were asked to end keep theirs until the library has noticed.
   static constexpr std::size_t connections = places + 16;

   struct Client {
      MHD_Connection * connection = nullptr;
      double progress = 0;   // when a byte of its answer, or its request, was taken last; real seconds
      bool leaving = false;  // its connection was shut down
   };

   // Null when all connections are taken.
   Client * add(MHD_Connection * connection);
   static void progressed(Client & client);
   void remove(Client & client);

   std::size_t count() const { return count_; }

   // Shuts down the connection of the client that has made no progress for the longest time. False when there
   // is no client that could leave.
   bool shutOldest();

 private:
   std::array<Client, connections> clients_;
   std::size_t count_ = 0;  // those that are not leaving
};

}  // namespace Agent
