// The loop with watched descriptors beside epoll used by hand: the cost of each ready descriptor,
// read by its handler.
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Ratio.h"
#include "base/UniqueFd.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/host/Loop.h"

namespace {

constexpr std::size_t readsPerRound = 2'000;

class Event {
 public:
   Event() : fd_{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)} {
      if (!fd_)
         throw std::runtime_error("cannot make an eventfd");
   }

   int fd() const { return fd_.get(); }
   void happen() const {
      std::uint64_t const once = 1;
      if (write(fd_.get(), &once, sizeof once) != sizeof once)
         throw std::runtime_error("cannot write to an eventfd");
   }

 private:
   Base::UniqueFd fd_;
};

// The work of a handler in both contenders.
bool consume(int fd) {
   std::uint64_t count = 0;
   return read(fd, &count, sizeof count) == sizeof count;
}

class Reader {
 public:
   explicit Reader(std::size_t & consumed) : consumed_{consumed} {
      watched_->descriptorIs(event.fd());
      reactor_.notifierIs(watched_);
      reactor_.on<&Reader::handleReadable>(watched_->readableCount, *this);
      reactor_.hasNotificationActiveIs(true);
      watched_->notifyOnReadableIs(true);
   }
   Reader(Reader const &) = delete;
   Reader & operator=(Reader const &) = delete;
   ~Reader() { watched_->descriptorIs(-1); }

   Event event;

 private:
   void handleReadable() { consumed_ += consume(watched_->descriptor()); }

   std::size_t & consumed_;
   Pelm::Ptr<Vorn::FileDescriptor> watched_ = Pelm::make<Vorn::FileDescriptor>("event");
   Vorn::NotifieeConst reactor_;
};

struct Entry {
   Entry(void (*entryHandler)(Entry & entry), std::size_t & total) : handler{entryHandler}, consumed{total} {}

   void (*handler)(Entry & entry);
   std::size_t & consumed;
   Event event;
};

void handleEntry(Entry & entry) {
   entry.consumed += consume(entry.event.fd());
}

class ByHand {
 public:
   explicit ByHand(std::size_t size) : epoll_{epoll_create1(EPOLL_CLOEXEC)}, ready_(size) {
      for (std::size_t i = 0; i < size; ++i) {
         entries.push_back(std::make_unique<Entry>(&handleEntry, consumed));
         epoll_event registration{};
         registration.events = EPOLLIN;
         registration.data.ptr = entries.back().get();
         if (epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, entries.back()->event.fd(), &registration) != 0)
            throw std::runtime_error("cannot watch an eventfd");
      }
   }

   void turn() {
      int const count = epoll_wait(epoll_.get(), ready_.data(), static_cast<int>(ready_.size()), -1);
      for (int i = 0; i < count; ++i) {
         auto & entry = *static_cast<Entry *>(ready_[static_cast<std::size_t>(i)].data.ptr);
         entry.handler(entry);
      }
   }

   std::size_t consumed = 0;
   std::vector<std::unique_ptr<Entry>> entries;

 private:
   Base::UniqueFd epoll_;
   std::vector<epoll_event> ready_;
};

// Makes all descriptors ready, which is not timed, and turns until all are read; over and over.
template <class Sources, class Turn>
Bench::Contender contender(Sources const & sources, std::size_t const & consumed, Turn turn) {
   return [&sources, &consumed, turn] {
      std::size_t const turns = readsPerRound / sources.size();
      double seconds = 0;
      for (std::size_t i = 0; i < turns; ++i) {
         for (auto const & source : sources)
            source->event.happen();
         std::size_t const all = consumed + sources.size();
         seconds += Bench::secondsOf([&] {
            while (consumed < all)
               turn();
         });
      }
      return seconds / static_cast<double>(turns * sources.size());
   };
}

// A real loop has armed clocks, so this one has too.
class Appointment {
 private:
   void handleTime() {}
   Vorn::Clock::Notifiee<&Appointment::handleTime> clock_{*this, Vorn::System::currentTime() + 1e6};
};

void compare(Bench::Report & report, std::size_t size) {
   std::size_t consumed = 0;
   std::vector<std::unique_ptr<Reader>> readers;
   for (std::size_t i = 0; i < size; ++i)
      readers.push_back(std::make_unique<Reader>(consumed));
   ByHand byHand{size};
   enum : std::size_t { ours, epoll };
   auto const rounds = Bench::compete({contender(readers, consumed, [] { Vorn::Host::turn(); }),
                                       contender(byHand.entries, byHand.consumed, [&] { byHand.turn(); })},
                                      1001);
   report.claim("loop: one of " + std::to_string(size) + " ready descriptors, beside epoll", rounds, ours,
                epoll, 1.1);
}

}  // namespace

int main() {
   Bench::Report report;
   Appointment const appointment;
   for (std::size_t const size : {10U, 100U, 1000U})
      compare(report, size);
   return report.exitCode();
}
