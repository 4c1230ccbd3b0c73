// One captured output of a child: the reading end of a pipe and what came out of it so far.
// Used by PipedChildProcessSm alone.
#pragma once

#include <cstddef>
#include <string>

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/FileDescriptor.h"

namespace Brul {

class RUNTIME_API OutputPipe {
 public:
   // More than this is no report of any tool.
   static constexpr std::size_t maxBytes = std::size_t{4} << 20U;

   explicit OutputPipe(char const * name) : end_{Pelm::make<Vorn::FileDescriptor>(name)} {}
   OutputPipe(OutputPipe const &) = delete;
   OutputPipe & operator=(OutputPipe const &) = delete;
   ~OutputPipe() { closeEnd(); }

   // Makes the pipe; the end for the child, or -1 with errno set.
   int open();

   // Reads what is there, up to a bound per call; true until the writers are gone.
   bool read();
   bool isOpen() const { return end_->descriptor() >= 0; }
   // Why the output could not be kept, null while it is: beyond the bound, or no memory for it. What was read
   // so far is gone then.
   char const * lossReason() const { return lossReason_; }
   void closeEnd();

   Pelm::Ptr<Vorn::FileDescriptor> const & end() const { return end_; }
   std::string const & text() const { return text_; }
   void textIs(std::string text) { text_ = std::move(text); }

 private:
   bool take(char const * bytes, std::size_t size);
   bool lose(char const * reason);

   Pelm::Ptr<Vorn::FileDescriptor> end_;
   std::string text_;
   char const * lossReason_ = nullptr;
};

}  // namespace Brul
