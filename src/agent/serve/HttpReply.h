// The bytes of an answer, made while the client takes them.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "agent/documents/Document.h"

namespace Agent {

struct HttpAnswer {
   unsigned status = 200;
   std::string contentType = "application/json";
   std::string body;
   // In place of a body. The client sees a document that cannot be continued as a connection that ends early.
   std::unique_ptr<Document> document = nullptr;
};

// What all clients of all servers together have not taken yet of what is written. The answer that would
// exceed it is ended.
inline constexpr std::size_t mostQueuedBytes = std::size_t{4} << 20U;

// A part of `mostQueuedBytes`.
class QueuedBytes {
 public:
   QueuedBytes() = default;
   QueuedBytes(QueuedBytes && other) noexcept;
   QueuedBytes & operator=(QueuedBytes && other) noexcept;
   ~QueuedBytes();

   // Raises std::bad_alloc where there is no room for it.
   void countIs(std::size_t count);

 private:
   std::size_t count_ = 0;
};

class HttpReply {
 public:
   // A part of the body has no more bytes.
   static constexpr std::size_t blockBytes = 8192;

   // The answer to a GET, or with `headOnly` to a HEAD, of HTTP/1.1 or, with `isOld`, 1.0. Raises what the
   // document raises, std::bad_alloc among it.
   HttpReply(HttpAnswer answer, bool headOnly, bool isOld);

   // What is to be sent next; empty at the end. Raises like the document when it cannot be continued.
   std::string_view front();
   // So many bytes of it are sent.
   void taken(std::size_t count) { sent_ += count; }

 private:
   void nextPiece();
   void addBlock();

   std::unique_ptr<Document> document_;
   std::string_view piece_;  // what is not sent yet of the document's latest
   QueuedBytes queued_;
   std::string block_;  // as it is sent
   std::size_t sent_ = 0;
   bool chunked_;
};

}  // namespace Agent
