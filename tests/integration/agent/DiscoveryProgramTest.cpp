// What the running program makes of disks that vanish without a word, of scarce descriptors and of bad
// appliance files.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <string>

#include "runtime/Vorn/Shortage.h"
#include "tests/integration/agent/AgentProgramTest.h"

namespace {

namespace Simulation = StorageDevices::Simulation;

class DiscoveryProgramTest : public AgentProgramTest {
 protected:
   std::size_t offlineMessages() {
      std::string const messages = Command::askAgent(socket, "/api/v1/messages");
      std::size_t count = 0;
      for (std::size_t at = 0; (at = messages.find("\"STORAGEDEVICE_OFFLINE\"", at)) != std::string::npos;
           ++at)
         ++count;
      return count;
   }
   // As udev answers a pull in the middle of writing.
   void pullWithoutSerial(char const * name) {
      for (char const * property : {"ID_SERIAL", "ID_SERIAL_SHORT"})
         unit.propertyIs(name, property, "");
      unit.announce(name, "change");
      unit.announce(name, "remove");
      unit.vanish(name);
   }
   // Nine drives beside the first.
   void addTenDrives() {
      for (unsigned i = 1; i < 10; ++i)
         addDrive((std::string{"sd"} + static_cast<char>('a' + i)).c_str(), i + 10,
                  ("SN-" + std::to_string(i)).c_str());
      unit.blockdevIs({{".*/ata1/", "drive"}, {".*/ata", "flash"}});
   }
   // The program with no more descriptors than that.
   std::filesystem::path withDescriptors(int limit) const {
      folder.writeScript("limited",
                         "ulimit -n " + std::to_string(limit) + "\nexec " + AGENT_PROGRAM + " \"$@\"");
      return folder.path() / "limited";
   }
};

TEST_F(DiscoveryProgramTest, LogsFixedDisksPulledWithoutASerialOnceWithinTwoSeconds) {
   start();
   ASSERT_TRUE(waitInRealTime([&] { return state["mountPoints"].HasMember("/mnt/drive"); })) << log;
   for (unsigned pulls = 1; pulls <= 5; ++pulls) {
      auto const begin = std::chrono::steady_clock::now();
      pullWithoutSerial("sda");
      ASSERT_TRUE(waitInRealTime([&] { return !has("SN-A"); })) << log;
      EXPECT_EQ(offlineMessages(), pulls);
      EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{2});
      EXPECT_EQ(state["discovery"]["anonymousRemovalCount"].GetUint(), pulls);
      auto const disk = addDrive("sda", 1, "SN-A");
      unit.announce("sda", "add");
      ASSERT_TRUE(waitInRealTime([&] { return has("SN-A"); })) << log;
   }
   EXPECT_EQ(offlineMessages(), 5U);
}

TEST_F(DiscoveryProgramTest, ClassifiesEveryDiskInTheEndWithFewDescriptors) {
   addTenDrives();
   start(withDescriptors(36));
   EXPECT_TRUE(waitInRealTime([&] {
      return disks().MemberCount() == 10 && state["discovery"]["unclassifiedDevices"].ObjectEmpty();
   })) << log;
   EXPECT_NE(log.find(": not classified: it cannot be read: " + Vorn::errorAndRemedy(EMFILE)),
             std::string::npos)
       << log;
   EXPECT_NE(log.find(": the shortage has ended"), std::string::npos) << log;
}

TEST_F(DiscoveryProgramTest, ShowsOrReportsEachDiskWithTooFewDescriptors) {
   addTenDrives();
   start(withDescriptors(32));
   EXPECT_TRUE(waitInRealTime([&] {
      return disks().MemberCount() + state["discovery"]["unclassifiedDevices"].MemberCount() == 10;
   })) << log;
}

TEST_F(DiscoveryProgramTest, ReportsBadApplianceFilesAndStallsOnNone) {
   unit.etcFileIs("blockdev", "good drive\n[x flash\ngood ../etc\n");
   ASSERT_EQ(mkfifo((unit.etcFolder() / "multidrive").c_str(), 0600), 0);
   ASSERT_EQ(mkfifo((unit.etcFolder() / "multidrive_src").c_str(), 0600), 0);
   start();
   std::string const etc = unit.etcFolder().string();
   for (std::string const & error :
        {etc + "/blockdev:2: the pattern [x is no basic regular expression: correct it",
         etc + "/blockdev:3: the mount name ../etc names no folder below /mnt",
         etc + "/multidrive: is no regular file: put a text file in its place",
         etc + "/multidrive_src: is no regular file"})
      EXPECT_TRUE(waitInRealTime([&] { return log.find(error) != std::string::npos; })) << error << "\n"
                                                                                        << log;
   Output const checked = runProgram("check-config --config " + folder.string() + "/agent.toml");
   EXPECT_EQ(checked.exitCode, 2);
   EXPECT_NE(checked.text.find(etc + "/blockdev:2: the pattern [x"), std::string::npos) << checked.text;
   EXPECT_NE(checked.text.find(etc + "/multidrive: is no regular file"), std::string::npos) << checked.text;
}

TEST_F(DiscoveryProgramTest, NamesALinkInThePlaceOfTheMountSourcesByAgentAndCheckConfig) {
   std::string const place = folder.string() + "/mount-source";
   std::filesystem::create_directory_symlink(".", place);
   Output const checked = runProgram("check-config --config " + folder.string() + "/agent.toml");
   EXPECT_EQ(checked.exitCode, 2);
   EXPECT_NE(checked.text.find("\nappliance.mount_source_dir: " + place + ": it is a symbolic link, "),
             std::string::npos)
       << checked.text;
   start();
   EXPECT_TRUE(waitInRealTime([&] {
      return log.find(place + ": cannot be written (it is a symbolic link") != std::string::npos;
   })) << log;
   EXPECT_FALSE(std::filesystem::exists(folder.path() / "drive"));
}

TEST_F(DiscoveryProgramTest, ChecksTheMaximumOfEntriesInTwoSeconds) {
   std::string text;
   for (int i = 0; i < 4096; ++i)
      text += "pci.*/nowhere" + std::to_string(i) + "/.* drive\n";
   unit.etcFileIs("blockdev", text);
   for (char name = 'b'; name < 'l'; ++name)
      addDrive((std::string{"sd"} + name).c_str(), static_cast<unsigned>(name),
               (std::string{"SN-"} + name).c_str());
   auto const begin = std::chrono::steady_clock::now();
   Output const checked = runProgram("check-config --config " + folder.string() + "/agent.toml");
   auto const took = std::chrono::steady_clock::now() - begin;
   EXPECT_EQ(checked.exitCode, 0) << checked.text;
   EXPECT_NE(checked.text.find("no entry of blockdev matches its path"), std::string::npos) << checked.text;
#ifndef STORAGEDEVICES_SANITIZED
   EXPECT_LT(took, std::chrono::seconds{2});
#endif
   RecordProperty("milliseconds",
                  static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(took).count()));
}

}  // namespace
