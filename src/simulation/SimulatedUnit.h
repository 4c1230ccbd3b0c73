// A simulated appliance: disks can be plugged and pulled on any machine, without a real disk.
//
// The devices are in a umockdev test bed: a temporary folder with a sysfs of its own. A process with
// libumockdev-preload.so.0 preloaded and UMOCKDEV_DIR set (see `environment`) sees it as /sys, and receives
// its events from libudev's monitor. The process that owns the unit needs the preload too; start it through
// umockdev-wrapper.
//
// Events. A message contains all properties of the device at the time of sending, so a listener that reads a
// "remove" late still sees the serial. For that, `unplug` sends before it removes. Attributes are not in the
// message: a listener reads them from the current sysfs. Only the disk's own events are sent, none of its
// parents.
//
// A listener is a Unix datagram socket, which keeps at most net.unix.max_dgram_qlen + 1 events (11 by
// default). umockdev itself would end the process when it sends to a full one. A unit calls `whenFull` as
// long as a socket is full; without that function it waits until the listener reads. It throws
// ListenerStalled when that takes longer than `patience`. So events can be sent to
// another process or thread at the pace of the listener. In the listener's own thread `whenFullIs` takes a
// function that reads the events. Without it the eleventh unread event ends in ListenerStalled.
//
// A socket is named after its descriptor's number. Of two listeners with the same number in two processes,
// the later one gets all events. The socket of an ended process is unused until a new one replaces it.
//
// Not for use by several threads at once, and only one unit may exist in a process at a time.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simulation/Disk.h"
#include "simulation/DriveHealth.h"
#include "simulation/FakeTools.h"
#include "simulation/FileSystems.h"

namespace StorageDevices::Simulation {

// A listener has not read its events within `patience`.
class ListenerStalled : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

// The library to preload: into the process that owns a unit and into those that watch it.
inline constexpr std::string_view preloadLibrary = "libumockdev-preload.so.0";

class SimulatedUnit {
 public:
   // A unit with tools, but without disks and appliance files. Throws std::runtime_error when the preload is
   // missing, another unit exists or no folder can be created.
   SimulatedUnit();
   // Removes the folder and its contents.
   ~SimulatedUnit();

   // The environment variables that a process needs to see this unit.
   std::map<std::string, std::string> environment() const;

   // A folder for sockets, configuration and the like; removed with the unit.
   std::filesystem::path const & folder() const;

   // Disks. A name or value impossible in sysfs, a name in use and an unknown name throw
   // std::invalid_argument and change nothing.
   void add(Disk const & disk);   // as if present at boot: no event
   void plug(Disk const & disk);  // with the event "add"
   // The first device of the recording is the disk. As no recording has the SCSI host's class device
   // (…/hostN/scsi_host/hostN), append one where unique_id matters.
   void addRecording(std::string_view recording);
   void unplug(std::string_view name);  // with the event "remove"; removes unused parents too
   void vanish(std::string_view name);  // likewise, without an event
   void change(std::string_view name);  // the event "change"
   void announce(std::string_view name, std::string_view action);  // any event

   void sectorsIs(std::string_view name, std::uint64_t sectors);
   void attributeIs(std::string_view name, std::string_view attribute, std::string_view value);
   void attributeDel(std::string_view name, std::string_view attribute);
   void propertyIs(std::string_view name, std::string_view property, std::string_view value);

   // Sets the disk's health for the tools and registers. A SATA drive, an NVMe drive and a USB disk get
   // smartctl's report and exit code, and an NVMe drive its smart log. An eMMC device, which must exist, gets
   // its registers. The tools fail for a disk before the first call.
   void healthIs(Disk const & disk, DriveHealth const & health);
   // Bytes since the disk appeared, in the kernel's statistics.
   void trafficIs(std::string_view name, std::uint64_t bytesRead, std::uint64_t bytesWritten);

   std::vector<std::string> disks() const;  // kernel names
   std::string sysPath(
       std::string_view name) const;  // "/sys/devices/…", as a process with the preload sees it
   std::filesystem::path sysFolder(std::string_view name) const;  // the real path of that folder

   // The number of sockets that receive events now.
   std::size_t listeners() const;
   // The time for which an event may wait for a listener; 10 seconds at first.
   void patienceIs(std::chrono::milliseconds patience);
   // Called as long as a listener's socket is full (see "Events"). Null, the default: the unit waits.
   void whenFullIs(std::function<void()> makeRoom);

   // The tools' programs and their outputs.
   FakeTools & tools();
   std::filesystem::path toolsPath() const;  // the folder to put before PATH

   // The mounted file systems. A process whose environment was read before the first use of this sees the
   // machine's own mount table.
   FileSystems & fileSystems();

   // The appliance files: pattern and mount name per entry, in order; patterns; a pattern or none.
   std::filesystem::path etcFolder() const;
   void blockdevIs(std::vector<std::pair<std::string, std::string>> const & entries);
   void multidriveIs(std::vector<std::string> const & patterns);
   void multidriveSrcIs(std::optional<std::string> const & pattern);
   // Writes any of the files whole.
   void etcFileIs(std::string_view name, std::string_view text);

 private:
   class State;
   std::unique_ptr<State> state_;
};

}  // namespace StorageDevices::Simulation
