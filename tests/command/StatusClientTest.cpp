#include "command/StatusClient.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <thread>

#include "tests/support/TempDir.h"

namespace Command {
namespace {

using namespace std::chrono_literals;

class StatusClientTest : public testing::Test {
 protected:
   ~StatusClientTest() override {
      if (server_.joinable()) {
         shutdown(listener_, SHUT_RDWR);  // wakes a server whose client never came
         server_.join();
      }
      stopListening();
   }

   void listenOn(int backlog) {
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      path_.copy(address.sun_path, path_.size());
      listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
      ASSERT_EQ(bind(listener_, reinterpret_cast<sockaddr const *>(&address), sizeof address), 0);
      ASSERT_EQ(listen(listener_, backlog), 0);
   }
   void stopListening() {
      if (listener_ >= 0)
         close(listener_);
      listener_ = -1;
   }

   // Takes one connection, reads the request, answers with the given bytes and ends the connection.
   void serve(std::string const & answer) {
      listenOn(1);
      server_ = std::thread{[this, answer] {
         int const connection = accept(listener_, nullptr, nullptr);
         std::array<char, 4096> buffer;
         while (request_.find("\r\n\r\n") == std::string::npos) {
            ssize_t const got = recv(connection, buffer.data(), buffer.size(), 0);
            if (got <= 0)
               break;
            request_.append(buffer.data(), static_cast<std::size_t>(got));
         }
         send(connection, answer.data(), answer.size(), MSG_NOSIGNAL);
         shutdown(connection, SHUT_WR);
         while (recv(connection, buffer.data(), buffer.size(), 0) > 0) {
         }
         close(connection);
      }};
   }

   // The error without the socket's path in front of it.
   std::string errorOf(StatusLimits const & limits = {}) const {
      try {
         return "answer: " + askAgent(path_, "/api/v1/state", limits);
      } catch (StatusError const & error) {
         std::string const what = error.what();
         return what.starts_with(path_ + ": ") ? what.substr(path_.size() + 2) : what;
      }
   }

   Support::TempDir folder_;
   std::string path_ = folder_.string() + "/s";
   std::string request_;
   int listener_ = -1;
   std::thread server_;
};

constexpr char hint[] =
    "is the agent running? Start it with \"storagedevices agent\", or name its socket with --socket";
constexpr char notTheAgent[] = "the answer is not the agent's: does --socket name the agent's socket?";

TEST_F(StatusClientTest, AnswersTheBody) {
   serve("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\ncontent-length:  2 \r\n\r\n{}");
   EXPECT_EQ(askAgent(path_, "/api/v1/state"), "{}");
   server_.join();
   EXPECT_EQ(request_, "GET /api/v1/state HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
}

TEST_F(StatusClientTest, ReadsToTheEndWithoutALength) {
   std::string const body(300000, 'x');
   serve("HTTP/1.0 200 OK\r\n\r\n" + body);
   EXPECT_EQ(askAgent(path_, "/"), body);
}

TEST_F(StatusClientTest, ReadsNoFurtherThanTheLength) {
   serve("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nbodyjunk");
   EXPECT_EQ(askAgent(path_, "/"), "body");
}

TEST_F(StatusClientTest, ReportsAnAgentThatDoesNotRun) {
   EXPECT_EQ(errorOf(), std::string{"the socket does not exist: "} + hint);
   listenOn(1);
   stopListening();
   EXPECT_EQ(errorOf(), std::string{"no program answers on this socket: "} + hint);
}

TEST_F(StatusClientTest, ReportsAFileThatIsNoSocket) {
   std::ofstream{path_} << "a file";
   EXPECT_EQ(errorOf(), std::string{"no program answers on this socket: "} + hint);
   path_ += std::string(200, 's');
   EXPECT_EQ(errorOf(), "a socket's path must have 1 to 107 bytes: name another with --socket");
   path_.clear();
   EXPECT_EQ(errorOf(), "a socket's path must have 1 to 107 bytes: name another with --socket");
}

TEST_F(StatusClientTest, StopsWaitingForAnAgentThatDoesNotAnswer) {
   listenOn(1);
   EXPECT_EQ(errorOf({.time = 30ms}), "no complete answer within 30 ms: the agent is stalled, see its log");
}

TEST_F(StatusClientTest, StopsWaitingForAnAgentThatDoesNotAccept) {
   listenOn(0);
   EXPECT_EQ(errorOf({.time = 30ms}).substr(0, 32), "no complete answer within 30 ms:");
   EXPECT_EQ(errorOf({.time = 30ms}).substr(0, 32), "no complete answer within 30 ms:");
   EXPECT_EQ(errorOf({.time = 30ms}).substr(0, 32), "no complete answer within 30 ms:");
}

TEST_F(StatusClientTest, BoundsTheWholeExchange) {
   listenOn(1);
   server_ = std::thread{[this] {
      int const connection = accept(listener_, nullptr, nullptr);
      std::string_view piece = "HTTP/1.1 200 OK\r\nX: ";
      // Keeps sending as fast as it is read, and so never lets a single wait run out.
      while (send(connection, piece.data(), piece.size(), MSG_NOSIGNAL) > 0)
         piece = "x";
      close(connection);
   }};
   std::string const error = errorOf({.time = 100ms});
   EXPECT_TRUE(error == notTheAgent || error.starts_with("no complete answer within 100 ms")) << error;
}

TEST_F(StatusClientTest, RefusesAnOversizedAnswer) {
   serve("HTTP/1.1 200 OK\r\n\r\n" + std::string(1001, 'x'));
   EXPECT_EQ(errorOf({.answer = 1000}), "the answer is larger than 1000 bytes");
}

TEST_F(StatusClientTest, RefusesAnAnswerThatAnnouncesAnOversizedLength) {
   serve("HTTP/1.1 200 OK\r\nContent-Length: 67108865\r\n\r\n");
   EXPECT_EQ(errorOf(), "the answer is larger than 67108864 bytes");
}

TEST_F(StatusClientTest, RefusesAnAnswerThatEndsEarly) {
   serve("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nshort");
   EXPECT_EQ(errorOf(), "the answer ended too early: is the agent stopping? Try again");
}

TEST_F(StatusClientTest, ReportsAnyOtherStatus) {
   serve("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
   EXPECT_EQ(errorOf(),
             "the agent answered 404 to /api/v1/state: is it of the same version as this program?");
}

TEST_F(StatusClientTest, ReportsAConnectionClosedAtOnce) {
   serve("");
   EXPECT_EQ(errorOf(), "the agent closed the connection without an answer: is it stopping? Try again");
}

#define CHUNKED(body) "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" body

TEST_F(StatusClientTest, JoinsChunks) {
   serve(CHUNKED("3\r\nabc\r\n0A;x=y\r\n0123456789\r\n0\r\n\r\n"));
   EXPECT_EQ(askAgent(path_, "/"), "abc0123456789");
}

TEST_F(StatusClientTest, RefusesChunksThatEndEarly) {
   serve(CHUNKED("3\r\nabc\r\n5\r\nab"));
   EXPECT_EQ(errorOf(), "the answer ended too early: is the agent stopping? Try again");
}

TEST_F(StatusClientTest, BoundsChunksLikeAnyAnswer) {
   serve(CHUNKED("3e8\r\n") + std::string(1000, 'x') + "\r\n1\r\nx\r\n0\r\n\r\n");
   EXPECT_EQ(errorOf({.answer = 1000}), "the answer is larger than 1000 bytes");
}

TEST_F(StatusClientTest, StreamsAnAnswerThatIsLargerThanTheBoundOfOthers) {
   constexpr std::size_t size = (std::size_t{64} << 20U) + 1;
   serve("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n" + std::string(size, 'x'));
   std::size_t taken = 0;
   std::size_t longest = 0;
   streamFromAgent(path_, "/", [&](std::string_view part) {
      taken += part.size();
      longest = std::max(longest, part.size());
   });
   EXPECT_EQ(taken, size);
   EXPECT_LE(longest, 200000U);
}

TEST_F(StatusClientTest, WaitsAsLongForEachPartOfAStream) {
   listenOn(1);
   server_ = std::thread{[this] {
      int const connection = accept(listener_, nullptr, nullptr);
      std::array<char, 4096> request;
      recv(connection, request.data(), request.size(), 0);
      std::string_view const head = "HTTP/1.1 200 OK\r\n\r\n";
      send(connection, head.data(), head.size(), MSG_NOSIGNAL);
      pollfd idle{-1, 0, 0};
      for (int i = 0; i < 6; ++i) {
         poll(&idle, 1, 100);
         send(connection, "x", 1, MSG_NOSIGNAL);
      }
      close(connection);
   }};
   std::string text;
   streamFromAgent(
       path_, "/", [&](std::string_view part) { text += part; }, 500ms);
   EXPECT_EQ(text, "xxxxxx");
}

TEST_F(StatusClientTest, StopsWaitingForAStreamThatStalls) {
   listenOn(1);
   try {
      streamFromAgent(
          path_, "/", [](std::string_view) {}, 30ms);
      FAIL();
   } catch (StatusError const & error) {
      EXPECT_EQ(std::string{error.what()},
                path_ + ": no complete answer within 30 ms: the agent is stalled, see its log");
   }
}

class OddAnswerTest : public StatusClientTest, public testing::WithParamInterface<char const *> {};

TEST_P(OddAnswerTest, IsRefusedAsNotTheAgents) {
   serve(GetParam());
   EXPECT_EQ(errorOf(), notTheAgent);
}

INSTANTIATE_TEST_SUITE_P(StatusClient, OddAnswerTest,
                         testing::Values("SSH-2.0-x\r\n\r\n", "HTTP/1.1\r\n\r\n", "HTTP/1.1 abc\r\n\r\n",
                                         "\r\n\r\n", "HTTP/1.1 200 OK\r\nnonsense\r\n\r\n",
                                         "HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\n",
                                         "HTTP/1.1 200 OK\r\nContent-Length: 1x\r\n\r\n",
                                         "HTTP/1.1 200 OK\r\nContent-Length: 99999999999999999999\r\n\r\n",
                                         "HTTP/1.1 200 OK\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nx",
                                         "HTTP/1.1 200 OK\r\nTransfer-Encoding: gzip\r\n\r\n0\r\n\r\n",
                                         CHUNKED("x\r\n"), CHUNKED("-1\r\nx"), CHUNKED("\r\n"),
                                         CHUNKED("1\r\nxyz0\r\n\r\n"), CHUNKED("fffffffffffffffff\r\n"),
                                         "HTTP/1.1 200 OK\r\n"));

TEST_F(StatusClientTest, BoundsTheHeaders) {
   serve("HTTP/1.1 200 OK\r\nX: " + std::string(200000, 'x') + "\r\n\r\n");
   EXPECT_EQ(errorOf(), notTheAgent);
}

}  // namespace
}  // namespace Command
