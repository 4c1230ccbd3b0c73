#include "agent/HttpReply.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

namespace Agent {

namespace {

// What one client gets in a turn of the loop.
constexpr std::size_t blockBytes = 8192;

std::size_t queuedBytes = 0;

// A document on its way to a client.
class Sending {
 public:
   Sending(std::unique_ptr<Document> document, HttpClients::Client & client)
       : document_{std::move(document)}, client_{client} {
      prepare();
   }
   Sending(Sending const &) = delete;
   Sending & operator=(Sending const &) = delete;
   ~Sending() { queuedBytes -= rest_.size(); }

   static ssize_t read(void * self, std::uint64_t, char * buffer, std::size_t size) {
      try {
         return static_cast<Sending *>(self)->read(buffer, size);
      } catch (std::exception const &) {  // into C code nothing may be thrown
         return MHD_CONTENT_READER_END_WITH_ERROR;
      }
   }
   static void destroy(void * self) { delete static_cast<Sending *>(self); }

 private:
   ssize_t read(char * buffer, std::size_t size) {
      HttpClients::progressed(client_);
      if (rest_.empty())
         prepare();
      if (rest_.empty())
         return MHD_CONTENT_READER_END_OF_STREAM;
      std::size_t const count = std::min({size, rest_.size(), blockBytes});
      std::memcpy(buffer, rest_.data(), count);
      rest_.remove_prefix(count);
      queuedBytes -= count;
      return static_cast<ssize_t>(count);
   }

   void prepare() {
      std::string_view const piece = document_->next();
      if (piece.size() > mostQueuedBytes - queuedBytes)
         throw std::bad_alloc{};
      rest_ = piece;
      queuedBytes += piece.size();
   }

   std::unique_ptr<Document> document_;
   HttpClients::Client & client_;
   std::string_view rest_;
};

using Response = std::unique_ptr<MHD_Response, decltype(&MHD_destroy_response)>;

Response owned(MHD_Response * response) {
   if (!response)
      throw std::bad_alloc{};
   return {response, &MHD_destroy_response};
}

Response bodyResponse(std::string_view body) {
   // The library copies the body and never writes to it, whatever its parameter's type says.
   return owned(
       MHD_create_response_from_buffer(body.size(), const_cast<char *>(body.data()), MHD_RESPMEM_MUST_COPY));
}

Response documentResponse(std::unique_ptr<Document> document, HttpClients::Client & client) {
   auto sending = std::make_unique<Sending>(std::move(document), client);
   auto response = owned(MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, blockBytes, &Sending::read,
                                                           sending.get(), &Sending::destroy));
   sending.release();
   return response;
}

void addHeader(Response const & response, char const * name, char const * value) {
   if (MHD_add_response_header(response.get(), name, value) != MHD_YES)
      throw std::bad_alloc{};
}

void addUsualHeaders(Response const & response, char const * contentType) {
   addHeader(response, MHD_HTTP_HEADER_CONTENT_TYPE, contentType);
   addHeader(response, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
}

}  // namespace

MHD_Result reply(MHD_Connection * connection, HttpClients::Client & client, HttpAnswer answer,
                 bool headOnly) {
   Response const response =
       answer.document ? documentResponse(std::move(answer.document), client) : bodyResponse(answer.body);
   addUsualHeaders(response, answer.contentType.c_str());
   // The library ends a body in chunks even where there is none.
   if (headOnly)
      MHD_set_response_options(response.get(), MHD_RF_HTTP_1_0_COMPATIBLE_STRICT, MHD_RO_END);
   return MHD_queue_response(connection, answer.status, response.get());
}

MHD_Result replyMethodNotAllowed(MHD_Connection * connection) {
   Response const response = bodyResponse("only GET and HEAD are served here\n");
   addUsualHeaders(response, "text/plain");
   addHeader(response, MHD_HTTP_HEADER_ALLOW, "GET, HEAD");
   return MHD_queue_response(connection, MHD_HTTP_METHOD_NOT_ALLOWED, response.get());
}

ReadyReply::ReadyReply(unsigned status, char const * text) : status_{status} {
   auto response = owned(
       MHD_create_response_from_buffer(std::strlen(text), const_cast<char *>(text), MHD_RESPMEM_PERSISTENT));
   addUsualHeaders(response, "text/plain");
   response_ = response.release();
}

ReadyReply::~ReadyReply() {
   MHD_destroy_response(response_);
}

MHD_Result ReadyReply::send(MHD_Connection * connection) const {
   return MHD_queue_response(connection, status_, response_);
}

}  // namespace Agent
