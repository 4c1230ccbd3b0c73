// Sends lines, as the kernel's log has them, to a socket for kernel messages, at an even pace.
//
// usage: line-storm SOCKET LINES-A-SECOND SECONDS
//
// Every 1,000th line names a disk that is not there, the others none. Prints the number of lines that the
// receiver took and the seconds that it needed for them. A full receiver is waited for, so none is lost.
#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned long disksShare = 1000;

std::string line(unsigned long number) {
   std::string const head = "kernel: [" + std::to_string(100 + number / 1000) + ".000001] ";
   if (number % disksShare == 0)
      return head + "blk_update_request: I/O error, dev sdzz, sector 8 op 0x0:(READ) flags 0x0";
   return head + "usb-storage: line " + std::to_string(number) + " of a driver that does not stop to talk";
}

int connectedTo(char const * path) {
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
   int const fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   if (fd < 0 || connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
      std::perror(path);
      std::exit(1);
   }
   return fd;
}

// Answers the number of lines sent; behind its time it does not wait.
unsigned long storm(int fd, double rate, double seconds) {
   auto const begin = Clock::now();
   unsigned long sent = 0;
   for (double passed = 0; passed < seconds;) {
      passed = std::chrono::duration<double>(Clock::now() - begin).count();
      for (auto const due = static_cast<unsigned long>(passed * rate); sent < due; ++sent) {
         std::string const text = line(sent);
         if (send(fd, text.data(), text.size(), MSG_NOSIGNAL) < 0) {
            std::perror("send");
            std::exit(1);
         }
         if (std::chrono::duration<double>(Clock::now() - begin).count() > seconds)
            return sent;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds{1});
   }
   return sent;
}

}  // namespace

int main(int count, char ** arguments) {
   if (count != 4) {
      std::fputs("usage: line-storm SOCKET LINES-A-SECOND SECONDS\n", stderr);
      return 2;
   }
   int const fd = connectedTo(arguments[1]);
   auto const begin = Clock::now();
   auto const sent = storm(fd, std::strtod(arguments[2], nullptr), std::strtod(arguments[3], nullptr));
   std::printf("%lu %.3f\n", sent, std::chrono::duration<double>(Clock::now() - begin).count());
}
