// Requests that are not served.
#pragma once

namespace Agent {

// Raised for such a request: the status and the text that answer it.
struct HttpRefusal {
   unsigned status;
   char const * text;  // lives as long as the program
};

// Answer 503 and end the connection's sending half. They want no memory, and the socket's buffer must be
// empty.
void refuseForMemory(int socket);
void refuseForDescriptors(int socket);

}  // namespace Agent
