#include "agent/serve/HttpRefusal.h"

#include <sys/socket.h>

#include <array>
#include <string_view>

namespace Agent {

namespace {

#define UNAVAILABLE                                                                              \
   "HTTP/1.1 503 Service Unavailable\r\nContent-Type: text/plain\r\nCache-Control: no-store\r\n" \
   "X-Content-Type-Options: nosniff\r\nConnection: close\r\n\r\n"
constexpr std::string_view noMemory =
    UNAVAILABLE "the agent has no memory for this answer; ask again later\n";
constexpr std::string_view noDescriptor =
    UNAVAILABLE "the agent has no descriptor for another client; ask again later\n";
#undef UNAVAILABLE

void refuse(int socket, std::string_view answer) {
   std::array<char, 4096> request;
   send(socket, answer.data(), answer.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
   shutdown(socket, SHUT_WR);
   // Closing a socket with unread bytes resets the connection, possibly before the client has read the
   // answer.
   recv(socket, request.data(), request.size(), MSG_DONTWAIT);
}

}  // namespace

void refuseForMemory(int socket) {
   refuse(socket, noMemory);
}

void refuseForDescriptors(int socket) {
   refuse(socket, noDescriptor);
}

}  // namespace Agent
