// The bytes of an answer, generated as the client receives them.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "agent/documents/Document.h"

namespace Agent {

struct HttpAnswer {
   unsigned status = 200;
   std::string contentType = "application/json";
   std::string body = {};
   // Replaces `body` if set. When a document cannot be continued, the connection ends early.
   std::unique_ptr<Document> document = nullptr;
   // Replaces both if not empty: a text that lives as long as the program.
   std::string_view constant = {};
};

// Bytes written but not yet received, of all clients of all servers. An answer that would exceed it is ended.
inline constexpr std::size_t mostQueuedBytes = std::size_t{4} << 20U;

// A part of `mostQueuedBytes`.
class QueuedBytes {
 public:
   QueuedBytes() = default;
   QueuedBytes(QueuedBytes && other) noexcept;
   QueuedBytes & operator=(QueuedBytes && other) noexcept;
   ~QueuedBytes();

   // Raises std::bad_alloc when that would exceed `mostQueuedBytes`.
   void countIs(std::size_t count);

 private:
   std::size_t count_ = 0;
};

class HttpReply {
 public:
   // Bytes of a part of the body, at most.
   static constexpr std::size_t blockBytes = 8192;

   // The answer to a GET, or with `headOnly` to a HEAD, of HTTP/1.1 or, with `isOld`, 1.0. Raises the
   // exceptions of the document, such as std::bad_alloc.
   HttpReply(HttpAnswer answer, bool headOnly, bool isOld);

   // The next bytes to send; empty at the end, and while the document pauses. Raises the document's exception
   // when it cannot be continued.
   std::string_view front();
   // That many bytes of `front` have been sent.
   void taken(std::size_t count) { sent_ += count; }
   // When `front` is empty: whether the document pauses. Then `more` is called once when there may be more to
   // send, and the reply keeps no memory for it meanwhile.
   bool restsUntil(std::function<void()> const & more);

 private:
   void nextPiece();
   void addBlock();

   std::unique_ptr<Document> document_;
   std::string_view piece_;  // the unsent rest of the document's latest piece
   QueuedBytes queued_;
   std::string block_;  // in its form on the wire
   std::size_t sent_ = 0;
   bool chunked_;
};

}  // namespace Agent
