// Requests that are not served.
#pragma once

namespace Agent {

// Raised for such a request: the status and the text of the answer.
struct HttpRefusal {
   unsigned status;
   char const * text;  // a constant
};

// Answer 503 and close the connection's sending half. They allocate no memory. The socket's buffer must be
// empty.
void refuseForMemory(int socket);
void refuseForDescriptors(int socket);

}  // namespace Agent
