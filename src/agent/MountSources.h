// Writes a file per mount name: the source that the kernel's mount table names for /mnt/NAME.
//
// A file has one source per line: the device of the topmost mount, then, below a device-mapper node, the
// devices that it consists of. It is empty when nothing is mounted. Blanks in a source are escaped as in the
// mount table (\040). Files are replaced whole, so a reader sees the old or the new one.
#pragma once

#include <filesystem>
#include <functional>
#include <set>
#include <string>

#include "base/UniqueFd.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"

namespace Agent {

// The content of the file of one mount name.
std::string mountSourceText(std::string const & name);

class MountSources {
 public:
   // A line for the operator. A lasting failure is reported once.
   using Notice = std::function<void(std::string const & text)>;

   // Writes the files now and whenever the mount table changes. Makes a missing directory; refuses one that
   // is a symbolic link. A name that cannot be the name of a file is reported and gets none.
   MountSources(std::filesystem::path const & directory, std::set<std::string> const & names, Notice notice);
   ~MountSources();

   void write();

 private:
   void watch();
   // Answers 0 or an errno value.
   int watchTable();
   void handleMountTable();
   void outcome(std::filesystem::path const & path, int error);

   std::filesystem::path directory_;
   std::set<std::string> names_;
   Notice notice_;
   std::set<std::filesystem::path> failing_;
   Base::UniqueFd table_;
   // Readable after a change of the table, which itself is always readable and shows a change as urgent data.
   Base::UniqueFd changes_;
   Pelm::Ptr<Vorn::FileDescriptor> mountTable_ = Pelm::make<Vorn::FileDescriptor>("mount table");
   Vorn::NotifieeConst reactor_;
};

}  // namespace Agent
