// One captured output of a child: the reading end of a pipe, and the bytes read so far.
// Used by PipedChildProcessSm alone.
#pragma once

#include <cstddef>
#include <string>

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/FileDescriptor.h"

namespace Brul {

class VORN_API OutputPipe {
 public:
   // No tool's report is larger. With one byte more the output is lost as a whole.
   static constexpr std::size_t maxBytes = std::size_t{4} << 20U;

   explicit OutputPipe(char const * name) : end_{Pelm::make<Vorn::FileDescriptor>(name)} {}
   OutputPipe(OutputPipe const &) = delete;
   OutputPipe & operator=(OutputPipe const &) = delete;
   ~OutputPipe() { closeEnd(); }

   // Creates the pipe, both ends close-on-exec. Answers the child's end, which the caller owns, or -1 with
   // errno set.
   int open();

   // Reads the available bytes without blocking, 256 KiB at most. False when the pipe is closed: all writers
   // have closed it, it failed, or the output was lost.
   bool read();
   bool isOpen() const { return end_->descriptor() >= 0; }
   // Why the output was lost: it exceeded the bound, or there was no memory for it. Null: it was not.
   char const * lossReason() const { return lossReason_; }
   // The text stays. A writer that goes on gets SIGPIPE.
   void closeEnd();

   // The reading end; its descriptor is -1 before `open` and at the end.
   Pelm::Ptr<Vorn::FileDescriptor> const & end() const { return end_; }
   // Any bytes: what was read so far; empty when it was lost.
   std::string const & text() const { return text_; }
   void textIs(std::string text) { text_ = std::move(text); }
   // The whole output at once, of a run without a pipe; the bound applies.
   void outputIs(std::string text);

 private:
   bool take(char const * bytes, std::size_t size);
   bool lose(char const * reason);

   Pelm::Ptr<Vorn::FileDescriptor> end_;
   std::string text_;
   char const * lossReason_ = nullptr;
};

}  // namespace Brul
