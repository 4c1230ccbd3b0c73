// A pipe, and a reader that records its notifications.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/host/Trace.h"
#include "tests/support/VirtualTimeTest.h"

namespace RuntimeTest {

using Vorn::FileDescriptor;

class Pipe {
 public:
   Pipe() { EXPECT_EQ(pipe2(ends_.data(), O_CLOEXEC | O_NONBLOCK), 0); }
   Pipe(Pipe const &) = delete;
   Pipe & operator=(Pipe const &) = delete;
   ~Pipe() {
      closeReader();
      closeWriter();
   }

   int reader() const { return ends_[0]; }
   int writer() const { return ends_[1]; }
   void fill(char const * text = "x") const {
      std::string const bytes{text};
      EXPECT_EQ(write(writer(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
   }
   void drain() const {
      std::array<char, 256> buffer;
      while (read(reader(), buffer.data(), buffer.size()) > 0) {
      }
   }
   void closeReader() { closeEnd(0); }
   void closeWriter() { closeEnd(1); }

 private:
   void closeEnd(std::size_t which) {
      if (int const fd = std::exchange(ends_[which], -1); fd >= 0)
         close(fd);
   }
   std::array<int, 2> ends_{-1, -1};
};

// Watches one descriptor, counts its notifications, and runs an action of the test.
class Reader {
 public:
   explicit Reader(int fd, std::function<void()> atReady = {}) : then{std::move(atReady)} {
      watched->descriptorIs(fd);
      watched->notifyOnReadableIs(true);
      reactor_.notifierIs(watched);
      reactor_.on<&Reader::handleReadable>(watched->readableCount, *this);
      reactor_.hasNotificationActiveIs(true);
   }

   Pelm::Ptr<FileDescriptor> const watched = Pelm::make<FileDescriptor>("reader");
   int notified = 0;
   std::function<void()> then;

 private:
   void handleReadable() {
      ++notified;
      if (auto const next = then)
         next();
   }
   Vorn::NotifieeConst reactor_;
};

class FileDescriptorTest : public Support::VirtualTimeTest {
 protected:
   FileDescriptorTest() {
      Vorn::Host::traceSinkIs([this](Vorn::Host::TraceLine const & line) { traces.push_back(line.text); });
   }
   ~FileDescriptorTest() override { Vorn::Host::traceSinkIs(nullptr); }

   std::vector<std::string> traces;
};

}  // namespace RuntimeTest
