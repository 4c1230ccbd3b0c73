// `storagedevices init` on recorded and simulated sets of devices: what it proposes, check-config confirms.

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <utility>

#include "simulation/SimulatedUnit.h"
#include "tests/integration/agent/Shell.h"
#include "tests/support/ProcessState.h"
#include "tests/support/TempDir.h"

namespace {

namespace Simulation = StorageDevices::Simulation;

using Outcomes = std::map<std::string, std::string>;  // by device

class InitProgramTest : public testing::Test {
 protected:
   InitProgramTest() { configure(""); }

   void configure(std::string const & expectedLine) const {
      folder.write("agent.toml", "[appliance]\netc_dir = \"" + folder.string() +
                                     "/etc\"\nmount_source_dir = \"" + folder.string() + "/mount-source\"\n" +
                                     expectedLine + "\n");
   }
   void record(std::string const & name) {
      unit.addRecording(Support::fileContent(TEST_DATA_DIR "/udev/" + name + ".umockdev"));
   }
   Output run(std::string const & command) {
      Support::EnvironmentSetting const root{"STORAGEDEVICES_SIMULATED_ROOT", unit.fileSystems().root()};
      return runProgram(command + " --config " + folder.string() + "/agent.toml");
   }

   // The part between the two separators (the second may be missing) of each line that begins with a device.
   static Outcomes outcomesIn(std::string const & text, std::string const & first,
                              std::string const & second) {
      Outcomes outcomes;
      std::istringstream lines{text};
      for (std::string line; std::getline(lines, line);) {
         std::size_t const begin = line.find(first);
         if (!line.starts_with("/dev/") || begin == std::string::npos)
            continue;
         std::size_t const from = begin + first.size();
         outcomes[line.substr(0, line.find_first_of(" :"))] =
             line.substr(from, line.find(second, from) - from);
      }
      return outcomes;
   }

   // The same, as check-config says of what was written.
   Outcomes checked() {
      Output const check = run("check-config");
      EXPECT_EQ(check.exitCode, 0) << check.text;
      EXPECT_EQ(check.text.find("no disk of this machine is classified"), std::string::npos) << check.text;
      Outcomes outcomes;
      for (auto const & [device, outcome] : outcomesIn(check.text, ": ", ","))
         if (outcome.starts_with("fixed: "))
            outcomes[device] = "fixed at " + outcome.substr(7);
         else if (outcome.starts_with("removable: "))
            outcomes[device] = "listed as " + outcome.substr(11);
         else
            outcomes[device] = "not listed";
      return outcomes;
   }

   // Writes what init proposes, and expects that check-config gives each disk what was proposed. Answers
   // that.
   Outcomes writtenAndChecked() {
      std::filesystem::remove_all(folder.path() / "etc");
      configure("");
      Output const shown = run("init");
      EXPECT_EQ(shown.exitCode, 0) << shown.text;
      std::size_t const expected = shown.text.find("expected_mounts = ");
      // Without it the defaults are as proposed.
      if (expected != std::string::npos)
         configure(shown.text.substr(expected, shown.text.find('\n', expected) - expected));
      Output const written = run("init --write");
      EXPECT_EQ(written.exitCode, 0) << written.text;
      EXPECT_NE(written.text.find(folder.string() + "/etc/blockdev: written\n"), std::string::npos)
          << written.text;
      // "fixed at /mnt/drive", "listed as /mnt/usb1" or "not listed".
      Outcomes proposal = outcomesIn(written.text, ": ", "\n");
      Outcomes const outcomes = checked();
      for (auto const & [device, outcome] : outcomes)
         EXPECT_EQ(outcome, proposal.contains(device) ? proposal.at(device) : "not listed") << device;
      for (auto const & [device, outcome] : proposal)
         EXPECT_TRUE(outcomes.contains(device)) << device;
      return proposal;
   }

   Simulation::SimulatedUnit unit;
   Support::TempDir folder;
};

constexpr char const * recordings[] = {"sda", "sdb", "sdc", "sdd", "nvme0n1", "nvme1n1", "mmcblk0"};

TEST_F(InitProgramTest, GivesEachRecordedDiskWhatItProposes) {
   for (char const * name : recordings) {
      record(name);
      EXPECT_EQ(writtenAndChecked().size(), 1U) << name;
      unit.fileSystems().mountIs("drive", std::string{name} + (name[0] == 's' ? "1" : "p1"));
      Outcomes const mounted = writtenAndChecked();
      EXPECT_EQ(mounted, (Outcomes{{std::string{"/dev/"} + name, "fixed at /mnt/drive"}}));
      unit.fileSystems().mountDel("drive");
      unit.vanish(name);
   }
}

TEST_F(InitProgramTest, GivesEachDiskOfTheWholeRecordedMachineWhatItProposes) {
   for (char const * name : recordings)
      record(name);
   unit.fileSystems().mountIs("flash", "sdb1");
   unit.fileSystems().mountIs("archive", "nvme1n1p2");
   unit.fileSystems().mountIs("backup", "sdd1");
   unit.fileSystems().mountIs("eusb", "sdc1");
   EXPECT_EQ(writtenAndChecked(), (Outcomes{{"/dev/sda", "listed as /mnt/disk1"},
                                            {"/dev/sdb", "fixed at /mnt/flash"},
                                            {"/dev/sdc", "fixed at /mnt/eusb"},
                                            {"/dev/sdd", "listed as /mnt/backup"},
                                            {"/dev/nvme0n1", "listed as /mnt/disk2"},
                                            {"/dev/nvme1n1", "fixed at /mnt/archive"},
                                            {"/dev/mmcblk0", "listed as /mnt/card1"}}));
   // Both buses of the controller are there, and either has a second port.
   std::string const text = folder.content("etc/blockdev");
   EXPECT_NE(text.find(R"(/0000:00:05\.0/usb2/[0-9]*-2/)"), std::string::npos) << text;
   EXPECT_NE(text.find(R"(/0000:00:05\.0/usb1/[0-9]*-1/[0-9]*-1\.2/)"), std::string::npos) << text;
   EXPECT_NE(run("init").text.find(
                 "\nAt each start the agent logs once that a listed disk is not mounted in place.\n"),
             std::string::npos);
}

// As the tests of discovery have them, and more of each kind.
TEST_F(InitProgramTest, GivesEachSimulatedDiskWhatItProposes) {
   auto nameless = Simulation::otherDisk("vdb", "pci0000:00/0000:00:09.0/virtio2", 1);
   auto strange = Simulation::otherDisk("vda", "pci0000:00/0000:00:08.0/virtio1", 1);
   strange.serial = "V";
   auto boot = Simulation::otherDisk("mmcblk0boot0", "pci0000:00/0000:00:1a.0", 8192);
   boot.serial = "0x11111111";
   auto second = Simulation::nvmeDrive("nvme1n1", "N1", "Marlin", 937703088);
   second.controller = "pci0000:00/0000:00:1d.1/0000:05:00.0";
   for (auto const & disk : {Simulation::sataDisk("sda", 1, "A", "Kestrel", 468862128),
                             Simulation::sataDisk("sdb", 10, "B", "Kestrel", 1000),
                             Simulation::nvmeDrive("nvme0n1", "N", "Marlin", 937703088), second,
                             Simulation::emmcDevice("mmcblk0", std::string(32, '1'), 61071360), boot,
                             Simulation::usbDisk("sdd", "1-1", "D", "Flash", 31250000),
                             Simulation::usbDisk("sde", "1-11", "E", "Flash", 31250000),
                             Simulation::usbDisk("sdf", "1-1.1", "F", "Flash", 31250000),
                             Simulation::otherDisk("loop0", "virtual", 8), nameless, strange})
      unit.add(disk);
   for (char const * made : {"sdd", "sdf"})
      unit.attributeIs(made, "removable", "1");
   unit.fileSystems().mountIs("drive", "sda1");
   unit.fileSystems().mountIs("flash", "mmcblk0p1");
   Outcomes outcomes = writtenAndChecked();
   EXPECT_EQ(outcomes["/dev/sda"], "fixed at /mnt/drive");
   EXPECT_EQ(outcomes["/dev/mmcblk0"], "fixed at /mnt/flash");
   EXPECT_EQ(outcomes["/dev/vdb"], "not listed");
   EXPECT_EQ(outcomes.count("/dev/mmcblk0boot0") + outcomes.count("/dev/loop0"), 0U);
   EXPECT_EQ(outcomes["/dev/sdd"], "listed as /mnt/usb1");
   EXPECT_EQ(outcomes["/dev/sdf"], "listed as /mnt/usb2");
   for (char const * listed : {"sdb", "sde", "nvme0n1", "nvme1n1", "vda"})
      EXPECT_TRUE(outcomes[std::string{"/dev/"} + listed].starts_with("listed as /mnt/disk")) << listed;
}

// The same ports, detected in another order.
TEST_F(InitProgramTest, KnowsTheDisksAfterAReboot) {
   auto drive = Simulation::sataDisk("sda", 1, "A", "Kestrel", 1000);
   auto other = Simulation::sataDisk("sdb", 2, "B", "Kestrel", 1000);
   auto nvme = Simulation::nvmeDrive("nvme0n1", "N", "Marlin", 1000);
   nvme.controller = "pci0000:00/0000:00:1d.0/0000:03:00.0";
   auto stick = Simulation::usbDisk("sdc", "1-1.2", "S", "Flash", 1000);
   for (auto const & disk : {drive, other, nvme, stick})
      unit.add(disk);
   unit.fileSystems().mountIs("drive", "sda1");
   unit.fileSystems().mountIs("flash", "nvme0n1p1");
   Outcomes const before = writtenAndChecked();
   for (char const * name : {"sda", "sdb", "sdc", "nvme0n1"})
      unit.vanish(name);
   std::swap(drive.name, stick.name);
   drive.host = 7;
   other.host = 3;
   stick.host = 0;
   stick.usbPort = "3-1.2";
   nvme.name = "nvme4n1";
   nvme.controller = "pci0000:00/0000:00:1d.0/0000:05:00.0";
   for (auto const & disk : {stick, nvme, drive, other})
      unit.add(disk);
   Outcomes const after = checked();
   EXPECT_EQ(after.at("/dev/sdc"), before.at("/dev/sda"));
   EXPECT_EQ(after.at("/dev/sdb"), before.at("/dev/sdb"));
   EXPECT_EQ(after.at("/dev/sda"), before.at("/dev/sdc"));
   EXPECT_EQ(after.at("/dev/nvme4n1"), before.at("/dev/nvme0n1"));
}

TEST_F(InitProgramTest, NeverReplacesAFile) {
   record("sdb");
   unit.fileSystems().mountIs("archive", "sdb1");
   std::filesystem::create_directory(folder.path() / "etc");
   folder.write("etc/blockdev", "mine drive\n");
   std::string const config = folder.content("agent.toml");
   Output const refused = run("init --write");
   EXPECT_EQ(refused.exitCode, 1);
   EXPECT_TRUE(refused.text.ends_with(folder.string() +
                                      "/etc/blockdev: exists, and nothing was written: compare it with the "
                                      "proposal, or move it away\n"))
       << refused.text;
   EXPECT_EQ(folder.content("etc/blockdev"), "mine drive\n");
   std::filesystem::remove(folder.path() / "etc/blockdev");
   Output const half = run("init --write");
   EXPECT_EQ(half.exitCode, 1);
   EXPECT_TRUE(
       half.text.ends_with(folder.string() +
                           "/agent.toml: exists, and was left as it is: write into its table [appliance] "
                           "expected_mounts = [\"archive\"]\n"))
       << half.text;
   EXPECT_EQ(folder.content("agent.toml"), config);
   EXPECT_TRUE(folder.content("etc/blockdev").ends_with("  archive\n"));
   EXPECT_EQ(run("check-config").exitCode, 0);
}

// With a /etc of its own, which it may fill.
TEST_F(InitProgramTest, WritesBothFilesWhereThereIsNone) {
   if (shell("unshare --user --map-root-user --mount true").exitCode != 0)
      GTEST_SKIP() << "no process may have mounts of its own";
   record("nvme1n1");
   unit.fileSystems().mountIs("drive", "nvme1n1p1");
   Support::EnvironmentSetting const root{"STORAGEDEVICES_SIMULATED_ROOT", unit.fileSystems().root()};
   std::string const program = AGENT_PROGRAM;
   folder.writeScript("session", "mount -t tmpfs none /etc && " + program + " init --write && " + program +
                                     " check-config && cat /etc/storagedevices/storagedevices.toml && " +
                                     program + " init --write");
   Output const session = shell("unshare --user --map-root-user --mount " + folder.string() + "/session");
   EXPECT_EQ(session.exitCode, 1);
   for (std::string const part :
        {"/etc/blockdev: written\n/etc/storagedevices/storagedevices.toml: written\n",
         "/etc/storagedevices/storagedevices.toml: valid\n", "/dev/nvme1n1: fixed: /mnt/drive, nvme",
         "[appliance]\nexpected_mounts = [\"drive\"]\n", "/etc/blockdev: exists, and nothing was written"})
      EXPECT_NE(session.text.find(part), std::string::npos) << part << " not in\n" << session.text;
}

TEST_F(InitProgramTest, SaysWhyNoDiskCanBeListed) {
   auto nameless = Simulation::otherDisk("vda", "pci0000:00/0000:00:09.0/virtio2", 1);
   unit.add(nameless);
   Output const refused = run("init --write");
   EXPECT_EQ(refused.exitCode, 1);
   EXPECT_EQ(refused.text,
             "/dev/vda: not listed\n    udev has no serial number for it\n"
             "no disk of this machine can be listed: \"storagedevices check-config\" shows why\n");
   EXPECT_FALSE(std::filesystem::exists(folder.path() / "etc"));
}

// Two controllers of one PCI function: only the order of their detection tells them apart.
TEST_F(InitProgramTest, ListsNoneOfTwoDisksWhosePortsCannotBeToldApart) {
   auto first = Simulation::emmcDevice("mmcblk0", std::string(32, '1'), 61071360);
   auto second = Simulation::emmcDevice("mmcblk1", std::string(32, '2'), 61071360);
   first.controller = second.controller = "pci0000:00/0000:00:1a.0";
   for (auto const & disk : {first, second, Simulation::sataDisk("sda", 1, "A", "Kestrel", 1000)})
      unit.add(disk);
   Outcomes outcomes = writtenAndChecked();
   EXPECT_EQ(outcomes["/dev/mmcblk0"], "not listed");
   EXPECT_EQ(outcomes["/dev/mmcblk1"], "not listed");
   EXPECT_EQ(outcomes["/dev/sda"], "listed as /mnt/disk1");
   EXPECT_NE(run("init").text.find(
                 "/dev/mmcblk0 (0x11111111): not listed\n    its port cannot be told apart from that of "
                 "/dev/mmcblk1 after a reboot\n"),
             std::string::npos);
}

}  // namespace
