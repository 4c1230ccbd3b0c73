#include "agent/config/ConfigFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "tests/support/EveryKey.h"
#include "tests/support/TempDir.h"

namespace Agent {
namespace {

using Support::everyKey;
using Support::everyValue;

class ConfigFileTest : public testing::Test {
 protected:
   std::string fileWith(std::string const & text) const {
      folder_.write("storagedevices.toml", text);
      return folder_.string() + "/storagedevices.toml";
   }
   using Load = std::function<Config(std::string const &)>;
   static Config ifPresent(std::string const & path) { return configAt(std::nullopt, path); }
   static std::string refusalOf(
       std::string const & path,
       Load const & load = [](std::string const & named) { return configAt(named); }) {
      try {
         load(path);
      } catch (ConfigError const & error) {
         return error.what();
      }
      return "accepted";
   }

   Support::TempDir folder_;
};

// A pipe as a shell hands it over.
class Pipe {
 public:
   Pipe() { EXPECT_EQ(pipe2(ends_.data(), O_CLOEXEC), 0); }
   Pipe(Pipe const &) = delete;
   Pipe & operator=(Pipe const &) = delete;
   ~Pipe() {
      closeWriter();
      close(ends_[0]);
   }
   void write(std::string_view text) {
      EXPECT_EQ(::write(ends_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
   }
   void closeWriter() {
      if (ends_[1] >= 0)
         close(ends_[1]);
      ends_[1] = -1;
   }
   std::string path(char const * folder) const { return folder + std::to_string(ends_[0]); }

 private:
   std::array<int, 2> ends_{-1, -1};
};

TEST_F(ConfigFileTest, IsReadFromItsPath) {
   EXPECT_EQ(configAt(fileWith(everyKey)), everyValue());
   EXPECT_EQ(ifPresent(fileWith(everyKey)), everyValue());
   EXPECT_EQ(configAgainAt(fileWith(everyKey)), everyValue());
   EXPECT_EQ(configAt("/dev/null"), Config{});
   std::string const path = fileWith("poll_interval = 0");
   EXPECT_EQ(refusalOf(path).find(path + ":1: poll_interval: must be"), 0U);
}

TEST_F(ConfigFileTest, IsOptionalOnlyWhereNobodyNamedIt) {
   std::string const path = folder_.string() + "/none.toml";
   EXPECT_EQ(refusalOf(path),
             path + ": cannot be read: No such file or directory; name the file to use with --config");
   EXPECT_EQ(refusalOf(path, &configAgainAt), refusalOf(path));
   EXPECT_EQ(ifPresent(path), Config{});
}

TEST_F(ConfigFileTest, IsRefusedBeyondAMebibyte) {
   std::string const path = fileWith(std::string(maxConfigSize + 1, '#'));
   EXPECT_EQ(refusalOf(path), path + ": must not be larger than 1 MiB");
}

TEST_F(ConfigFileTest, IsRefusedWhereItIsNoFile) {
   std::string const folder = folder_.string();
   EXPECT_EQ(refusalOf(folder), folder + ": is a directory; name the file in it with --config");
   EXPECT_EQ(refusalOf(""),
             ": cannot be read: No such file or directory; name the file to use with --config");
   EXPECT_EQ(refusalOf("/dev/zero"), "/dev/zero: is no regular file; name one with --config");
   EXPECT_EQ(refusalOf(folder, &ifPresent), refusalOf(folder));
}

TEST_F(ConfigFileTest, IsRefusedWithARemedyWhenDescriptorsAreScarce) {
   std::string const path = fileWith("");
   rlimit before{};
   ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
   rlimit const none{0, before.rlim_max};
   ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
   std::string const refusal = refusalOf(path);
   ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
   EXPECT_TRUE(refusal.starts_with(path + ": cannot be read: Too many open files; ")) << refusal;
   EXPECT_NE(refusal.find("LimitNOFILE="), std::string::npos) << refusal;
}

TEST_F(ConfigFileTest, IsRefusedAsAFifoWithoutWaitingForItsWriter) {
   std::string const path = folder_.string() + "/fifo";
   ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
   EXPECT_EQ(refusalOf(path),
             path + ": is a pipe, which may stay open for ever; name a regular file with --config");
}

TEST_F(ConfigFileTest, IsReadFromAnOpenPipe) {
   for (char const * const folder : {"/dev/fd/", "/proc/self/fd/"}) {
      Pipe pipe;
      pipe.write(everyKey);
      pipe.closeWriter();
      EXPECT_EQ(configAt(pipe.path(folder)), everyValue()) << folder;
   }
}

TEST_F(ConfigFileTest, IsRefusedInAPipeThatNeverEnds) {
   Pipe pipe;
   pipe.write("poll_interval = 5\n");
   std::string const path = pipe.path("/dev/fd/");
   try {
      configText(path, 0.02);
      FAIL() << "it was read";
   } catch (ConfigError const & error) {
      EXPECT_EQ(error.what(), path +
                                  ": did not end within 0.02 s; check the program that writes it, or name a "
                                  "regular file with --config");
   }
}

TEST_F(ConfigFileTest, IsNotReadAgainFromAPipe) {
   Pipe pipe;
   pipe.closeWriter();
   std::string const path = pipe.path("/dev/fd/");
   EXPECT_EQ(refusalOf(path, &configAgainAt),
             path +
                 ": is a pipe, which can be read only once; name a regular file with --config at the next "
                 "start");
}

}  // namespace
}  // namespace Agent
