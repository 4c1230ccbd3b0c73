// Keeps one file per mount name that tells what is mounted at /mnt/NAME, as the kernel's mount table has it.
//
// A file holds one source per line: the device of the mount that is seen there, then, where that is a
// device-mapper node, the devices that it is made of. It is empty when nothing is mounted. Blanks in a
// source are written as the mount table has them (\040). A reader finds a file whole, the old or the new.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"

struct libmnt_monitor;

namespace Agent {

// The content of the file of one mount name.
std::string mountSourceText(std::string const & name);

class MountSources {
 public:
   // A line for the operator. What goes on failing is told once.
   using Notice = std::function<void(std::string const & text)>;

   // Writes the files, and again whenever the mount table changes. Makes the directory if it is missing, and
   // refuses one that is a symbolic link. A name that cannot be a file's gets none.
   MountSources(std::filesystem::path const & directory, std::set<std::string> const & names, Notice notice);
   ~MountSources();

   void write();

 private:
   struct Unref {
      void operator()(libmnt_monitor * monitor) const;
   };

   void watch();
   void handleMountTable();
   void outcome(std::filesystem::path const & path, int error);

   std::filesystem::path directory_;
   std::set<std::string> names_;
   Notice notice_;
   std::set<std::filesystem::path> failing_;
   std::unique_ptr<libmnt_monitor, Unref> monitor_;
   Pelm::Ptr<Vorn::FileDescriptor> mountTable_ = Pelm::make<Vorn::FileDescriptor>("mount table");
   Vorn::NotifieeConst reactor_;
};

}  // namespace Agent
