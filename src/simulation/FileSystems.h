// The file systems of a simulated unit: its mount table, and folders that stand for what is mounted.
//
// An agent takes them for its own where the variable STORAGEDEVICES_SIMULATED_ROOT of its environment names
// `root`. Files can be written below the mount points for real, past the page cache too where the machine has
// a folder that takes direct I/O. How full a file system is, and errors of its medium, are what is said here.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace Agent::Simulation {

class FileSystems {
 public:
   enum class Access { readWrite, readOnly };

   // Makes `root`. Throws std::runtime_error when it cannot.
   explicit FileSystems(std::filesystem::path root);
   // Removes the mount points' folder.
   ~FileSystems();
   FileSystems(FileSystems const &) = delete;
   FileSystems & operator=(FileSystems const &) = delete;

   std::filesystem::path const & root() const { return root_; }
   // Whether files below the mount points can be written past the page cache.
   bool takeDirectIo() const { return directIo_; }

   // Mounts the partition, such as "sda1", at /mnt/NAME, in place of what is there.
   void mountIs(std::string_view name, std::string_view partition, Access access = Access::readWrite);
   void mountDel(std::string_view name);

   // Space in use, in percent; 0: as full as the folder's own file system is.
   void usedPercentIs(std::string_view name, unsigned percent);
   // With what error number every write fails; 0: none does.
   void writeErrorIs(std::string_view name, int error);

 private:
   struct Mount {
      std::string partition;
      Access access;
   };
   struct Medium {
      unsigned usedPercent = 0;
      int writeError = 0;
   };

   void makeFolder();
   std::string deviceNumber(std::string const & partition);
   void writeTable();
   void writeResults() const;

   std::filesystem::path root_;
   std::filesystem::path folder_;  // of the mount points
   bool directIo_ = false;
   std::map<std::string, Mount, std::less<>> mounts_;
   std::map<std::string, Medium, std::less<>> media_;
   std::map<std::string, std::string> numbers_;  // of the partitions
};

}  // namespace Agent::Simulation
