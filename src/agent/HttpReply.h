// Answers in the form in which the HTTP library takes them.
#pragma once

#include <microhttpd.h>

#include "agent/Http.h"
#include "agent/HttpClients.h"

namespace Agent {

// What all clients of all servers together have not taken yet of pieces that are written. The answer that
// would exceed it is ended.
inline constexpr std::size_t mostQueuedBytes = std::size_t{4} << 20U;

// Hands the answer over to the connection. Raises std::bad_alloc, and what the document raises, as long as
// nothing of it is sent. With `headOnly` the library sends the head alone.
MHD_Result reply(MHD_Connection * connection, HttpClients::Client & client, HttpAnswer answer, bool headOnly);

// Refuses: 405 with the methods that are served.
MHD_Result replyMethodNotAllowed(MHD_Connection * connection);

// An answer that is there before it is needed, for when there is no memory to make one.
class ReadyReply {
 public:
   // The text must live as long as the program.
   ReadyReply(unsigned status, char const * text);
   ReadyReply(ReadyReply const &) = delete;
   ReadyReply & operator=(ReadyReply const &) = delete;
   ~ReadyReply();

   MHD_Result send(MHD_Connection * connection) const;

 private:
   unsigned status_;
   MHD_Response * response_;
};

}  // namespace Agent
