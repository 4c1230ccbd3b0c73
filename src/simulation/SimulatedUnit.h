// An appliance's storage that can be plugged and pulled at will, on any machine and without a real disk.
//
// The devices live in a umockdev test bed: a temporary folder with a sysfs of its own, which the
// processes that have libumockdev-preload.so.0 preloaded and UMOCKDEV_DIR set (see `environment`) take
// for /sys, and whose events they receive from libudev's monitor. The process that owns the unit needs
// the preload too, since events are made with libudev; start it through umockdev-wrapper.
//
// Events. The message carries all properties of the device as they are when it is sent, so a listener
// that reads a "remove" late still sees the serial; `unplug` therefore sends first and removes then.
// Attributes are not in the message: a listener that reads an event late sees the sysfs of that moment.
//
// Only the disk's own events are sent, none of its parents.
//
// A listener is a Unix datagram socket, which holds no more than net.unix.max_dgram_qlen + 1 events
// (11 by default). umockdev itself would end the process when it sends to a full one. A unit waits
// instead: it calls `whenFull` as long as a socket is full, or without such a function waits until the
// listener has read something, and throws ListenerStalled when that takes longer than
// `patience`. So a storm of a thousand events is sent
// - to another process or thread: just so, at the pace of the listener;
// - from the listener's own thread: with `whenFullIs` set to what reads the events. Without it the
//   eleventh unread event ends in ListenerStalled.
// The sockets are named after their descriptor's number: of two listeners that have the same number in
// two processes, the later one gets all events. A process that ends takes its socket out of use, and one
// that starts anew takes its place.
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

namespace Agent::Simulation {

// A listener has not read its events for longer than the unit is willing to wait.
class ListenerStalled : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

// The library to preload: into the process that owns a unit and into those that watch it.
inline constexpr std::string_view preloadLibrary = "libumockdev-preload.so.0";

class SimulatedUnit {
 public:
   // A unit without disks, its tools in place and its appliance files absent. Throws
   // std::runtime_error when the preload is missing, another unit lives or no folder can be made.
   SimulatedUnit();
   // Removes the folder with all that is in it.
   ~SimulatedUnit();
   SimulatedUnit(SimulatedUnit const &) = delete;
   SimulatedUnit & operator=(SimulatedUnit const &) = delete;

   // What a process needs in its environment to see this unit.
   std::map<std::string, std::string> environment() const;

   // A folder for whatever belongs to the unit (sockets, configuration); goes with it.
   std::filesystem::path const & folder() const;

   // Disks. A name or value that cannot stand in sysfs, a name in use and a name not known throw
   // std::invalid_argument and change nothing.
   void add(Disk const & disk);   // as if present at boot: no event
   void plug(Disk const & disk);  // with the event "add"
   // The first device of the recording is the disk. As no recording has the SCSI host's class device
   // (…/hostN/scsi_host/hostN), append one where unique_id matters.
   void addRecording(std::string_view recording);
   void plugRecording(std::string_view recording);
   void unplug(std::string_view name);  // with the event "remove"; parents that nobody uses go too
   void vanish(std::string_view name);  // likewise, without an event
   void change(std::string_view name);  // the event "change"
   void announce(std::string_view name, std::string_view action);  // any event

   void sectorsIs(std::string_view name, std::uint64_t sectors);
   void attributeIs(std::string_view name, std::string_view attribute, std::string_view value);
   void attributeDel(std::string_view name, std::string_view attribute);
   void propertyIs(std::string_view name, std::string_view property, std::string_view value);

   // What the tools and registers say of the disk's health from now on: smartctl's report and exit code of
   // a SATA drive, an NVMe drive or a USB disk, the smart log too of an NVMe drive, and of a card, which must
   // be there, its registers. A disk's tools do not know it before this is called.
   void healthIs(Disk const & disk, DriveHealth const & health);
   // Bytes since the disk appeared, in the kernel's statistics.
   void trafficIs(std::string_view name, std::uint64_t bytesRead, std::uint64_t bytesWritten);

   std::vector<std::string> disks() const;            // kernel names
   std::string sysPath(std::string_view name) const;  // "/sys/devices/…", as a watching process sees it
   std::filesystem::path sysFolder(std::string_view name) const;  // the same folder, for everybody

   // Number of processes' sockets that receive events now.
   std::size_t listeners() const;
   // How long an event may wait for a listener; 10 seconds at first.
   void patienceIs(std::chrono::milliseconds patience);
   void whenFullIs(std::function<void()> makeRoom);

   // The tools' programs and what they say.
   FakeTools & tools();
   std::filesystem::path toolsPath() const;
   std::string searchPath() const;  // a PATH with the tools before the system's own

   // What is mounted. A process whose environment is asked for before the first use of this sees the
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

}  // namespace Agent::Simulation
