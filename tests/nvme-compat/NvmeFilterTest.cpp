// The program itself before tools that stand in for nvme.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

class NvmeFilterTest : public testing::Test {
 protected:
   struct Ending {
      int exitCode;  // minus the signal that ended it
      std::string output;
      std::string error;
   };

   NvmeFilterTest() { fs::create_directory(tools()); }

   fs::path tools() const { return folder.path() / "tools"; }
   static std::string filterFolder() { return fs::path{NVME_FILTER}.parent_path(); }
   std::string usualPath() const { return filterFolder() + ":" + tools().string() + ":/usr/bin:/bin"; }

   void toolDoes(std::string const & script) const { folder.writeScript("tools/nvme", script); }

   // The shell becomes the filter, whose parent is this process then.
   Ending run(std::string const & arguments, std::string const & path, std::string const & first = "") const {
      std::string const command = "cd '" + folder.string() + "'; PATH='" + path + "'; " + first +
                                  "exec '" NVME_FILTER "' " + arguments + " >out 2>err";
      int const status = std::system(command.c_str());  // NOLINT(*-env33-c): a shell is wanted
      return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), folder.content("out"),
              folder.content("err")};
   }
   Ending run(std::string const & arguments) const { return run(arguments, usualPath()); }
   Ending smartLog() const { return run("smart-log --output-format=json /dev/nvme0n1"); }

   Support::TempDir folder;
};

TEST_F(NvmeFilterTest, RewritesTheSmartLogAndTheList) {
   toolDoes(R"(echo '{"power_cycles":"12","Devices":[{"PhysicalSize":"5"}]}')");
   for (std::string const format : {"--output-format=json", "--output-format json", "-o json", "-ojson"}) {
      EXPECT_EQ(run("smart-log " + format + " /dev/nvme0n1").output,
                "{\"power_cycles\":12,\"Devices\":[{\"PhysicalSize\":\"5\"}]}\n");
      EXPECT_EQ(run("list " + format + " /dev/nvme0n1").output,
                "{\"power_cycles\":\"12\",\"Devices\":[{\"PhysicalSize\":5}]}\n");
   }
}

TEST_F(NvmeFilterTest, ReplacesItselfByTheToolForOtherCommandsAndFormats) {
   toolDoes(R"(echo "{\"power_cycles\":\"12\"} $PPID")");
   std::string const itself = "{\"power_cycles\":\"12\"} " + std::to_string(getpid()) + "\n";
   for (std::string const arguments : {"smart-log /dev/nvme0n1", "smart-log -o normal json", "list -v",
                                       "id-ctrl -o json /dev/nvme0n1", "", "json -o", "smart-log -o"})
      EXPECT_EQ(run(arguments).output, itself) << arguments;
}

TEST_F(NvmeFilterTest, PassesArgumentsAndStandardErrorThrough) {
   toolDoes(R"(for a; do echo "<$a>" >&2; done; echo '{"power_cycles":"12"}'; exit 0)");
   Ending const ending = run("smart-log '' 'a b' -o json");
   EXPECT_EQ(ending.error, "<smart-log>\n<>\n<a b>\n<-o>\n<json>\n");
   EXPECT_EQ(ending.output, "{\"power_cycles\":12}\n");
   EXPECT_EQ(ending.exitCode, 0);
}

TEST_F(NvmeFilterTest, PassesAFailedRunUnchanged) {
   toolDoes(R"(echo '{"power_cycles":"12"}'; echo oops >&2; exit 3)");
   Ending const ending = smartLog();
   EXPECT_EQ(ending.exitCode, 3);
   EXPECT_EQ(ending.output, "{\"power_cycles\":\"12\"}\n");
   EXPECT_EQ(ending.error, "oops\n");
}

TEST_F(NvmeFilterTest, TurnsAnErrorOnStandardOutputIntoAFailure) {
   toolDoes(R"(echo '{"error":"smart log: Interrupted"}')");
   Ending const ending = smartLog();
   EXPECT_EQ(ending.exitCode, 1);
   EXPECT_EQ(ending.output, "");
   EXPECT_EQ(ending.error, "nvme: smart log: Interrupted\n");
}

TEST_F(NvmeFilterTest, DiesOfTheSignalOfTheTool) {
   for (int const signal : {SIGTERM, SIGKILL, SIGSEGV, SIGPIPE}) {
      toolDoes(R"(echo '{"power_cycles":"12"}'; kill -)" + std::to_string(signal) + " $$");
      Ending const ending = smartLog();
      EXPECT_EQ(ending.exitCode, -signal);
      EXPECT_EQ(ending.output, "{\"power_cycles\":\"12\"}\n");
   }
}

TEST_F(NvmeFilterTest, KnowsTheEndOfTheToolUnderAParentThatIgnoresItsChildren) {
   toolDoes("exit 5");
   std::string const command =
       "PATH='" + usualPath() + "' env --ignore-signal=CHLD '" NVME_FILTER "' list -ojson";
   int const status = std::system(command.c_str());  // NOLINT(*-env33-c): a shell is wanted
   EXPECT_EQ(WEXITSTATUS(status), 5);
}

TEST_F(NvmeFilterTest, RunsTheToolInItsOwnGroup) {
   toolDoes(R"(cut -d ' ' -f 5 /proc/$$/stat /proc/$PPID/stat)");
   std::string const groups = smartLog().output;
   std::string const group = std::to_string(getpgrp()) + "\n";
   EXPECT_EQ(groups, group + group);
}

TEST_F(NvmeFilterTest, ReportsAMissingRealTool) {
   Ending const ending = smartLog();
   EXPECT_EQ(ending.exitCode, 127);
   EXPECT_EQ(ending.output, "");
   EXPECT_EQ(ending.error,
             "nvme: not on PATH behind the agent's filter; install nvme-cli or set tools.path\n");
   EXPECT_EQ(run("list", "").exitCode, 127);
}

TEST_F(NvmeFilterTest, IgnoresFoldersFilesWithoutRightsAndRelativeEntries) {
   fs::create_directories(folder.path() / "folder/nvme");
   fs::create_directory(folder.path() / "file");
   folder.write("file/nvme", "#!/bin/sh\necho wrong\n");
   folder.writeScript("nvme", "echo wrong");
   EXPECT_EQ(run("list", filterFolder() + "::.:tools:" + folder.string() + "/folder:/nowhere").exitCode, 127);
   fs::permissions(folder.path() / "file/nvme", fs::perms::none);
   toolDoes("echo right");
   EXPECT_EQ(run("list", filterFolder() + "::.:" + folder.string() + "/folder:" + tools().string()).output,
             "right\n");
}

TEST_F(NvmeFilterTest, FindsTheRealToolBehindCopiesAndLinksOfItself) {
   for (std::string const name : {"copy", "link"})
      fs::create_directory(folder.path() / name);
   fs::copy_file(NVME_FILTER, folder.path() / "copy/nvme");
   fs::create_symlink(NVME_FILTER, folder.path() / "link/nvme");
   toolDoes(R"(echo '{"power_cycles":"12"}')");
   std::string const filter = filterFolder() + ":";
   std::string const copy = folder.string() + "/copy:";
   std::string const link = folder.string() + "/link:";
   for (auto const & before :
        {std::vector{copy, filter}, {filter, copy, link, copy}, {copy, link, filter, copy}}) {
      std::string path;
      for (std::string const & entry : before)
         path += entry;
      EXPECT_EQ(run("smart-log -o json", path + tools().string()).output, "{\"power_cycles\":12}\n") << path;
      EXPECT_EQ(run("smart-log -o json", path).exitCode, 127) << path;
   }
}

TEST_F(NvmeFilterTest, FailsForAToolThatCannotRun) {
   folder.write("tools/nvme",
                "\x7f"
                "ELF");
   fs::permissions(tools() / "nvme", fs::perms::owner_all);
   EXPECT_EQ(smartLog().exitCode, 1);
   EXPECT_EQ(run("list").exitCode, 126);
   EXPECT_NE(smartLog().error.find("tools/nvme: "), std::string::npos) << smartLog().error;
}

TEST_F(NvmeFilterTest, PassesOutputBeyondItsBoundUnchanged) {
   auto const toolPrints = [this](std::size_t marks) {
      toolDoes("head -c " + std::to_string(marks) + R"( /dev/zero | tr '\0' x
echo; echo '{"power_cycles":"12"}'; exit 0)");
   };
   toolPrints(4000000);
   EXPECT_EQ(smartLog().output, "{\"power_cycles\":12}\n");
   toolPrints(5000000);
   std::string const output = smartLog().output;
   EXPECT_TRUE(output == std::string(5000000, 'x') + "\n{\"power_cycles\":\"12\"}\n") << output.size();
   toolDoes("head -c 5000000 /dev/zero; exit 7");
   EXPECT_EQ(smartLog().exitCode, 7);
}

TEST_F(NvmeFilterTest, PassesHostileOutputUnchanged) {
   toolDoes(R"(printf '{"power_cycles":"12"}\000\377\n')");
   EXPECT_EQ(smartLog().output, std::string("{\"power_cycles\":\"12\"}\0\xff\n", 24));
   toolDoes("printf '{\"power_cycles\":'; head -c 1000000 /dev/zero | tr '\\0' '['");
   EXPECT_EQ(smartLog().output, "{\"power_cycles\":" + std::string(1000000, '['));
   toolDoes("true");
   EXPECT_EQ(smartLog().output, "");
   EXPECT_EQ(smartLog().exitCode, 0);
}

#ifndef STORAGEDEVICES_SANITIZED  // sanitizers need more address space than these limits

TEST_F(NvmeFilterTest, PassesOutputUnchangedOrFailsWithTheReasonWithLittleMemory) {
   std::string const log = R"({"power_cycles":"12","padding":")" + std::string(3900000, 'x') + "\"}\n";
   std::string list = R"({"Devices":[0)";
   while (list.size() < 3900000)
      list += ",0";
   list += "]}\n";
   std::string rewritten = log;
   rewritten.replace(rewritten.find("\"12\""), 4, "12");
   for (auto const * const text : {&std::as_const(log), &std::as_const(list)}) {
      folder.write("text", *text);
      toolDoes("cat text");
      for (int const kib : {8000, 16000, 24000, 32000, 100000}) {
         Ending const ending =
             run("smart-log -o json /dev/nvme0n1", usualPath(), "ulimit -v " + std::to_string(kib) + "; ");
         bool const isPassed = ending.exitCode == 0 && (ending.output == *text || ending.output == rewritten);
         bool const isFailed = ending.exitCode == 1 && ending.error.starts_with("nvme: ");
         EXPECT_TRUE(isPassed || isFailed) << kib << " KiB: " << ending.exitCode << ' ' << ending.error;
         if (kib > 48000) {
            EXPECT_EQ(ending.output == rewritten, text == &log);
         }
      }
   }
}

#endif

TEST_F(NvmeFilterTest, FailsWhereItsOutputAcceptsNothing) {
   toolDoes(R"(echo '{"power_cycles":"12"}')");
   int const status =
       std::system(("PATH='" + usualPath() + "' '" NVME_FILTER "' smart-log -o json >/dev/full 2>/dev/null")
                       .c_str());  // NOLINT(*-env33-c)
   EXPECT_EQ(WEXITSTATUS(status), 1);
}

}  // namespace
