// The file systems of a simulated unit: its mount table, and folders in place of mounted file systems.
//
// An agent uses them if STORAGEDEVICES_SIMULATED_ROOT in its environment names `root`. Files below the mount
// points are real, and support direct I/O if a folder of the machine does. The used space and medium errors
// are simulated.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace StorageDevices::Simulation {

class FileSystems {
 public:
   enum class Access { readWrite, readOnly };

   // Creates `root`. Throws std::runtime_error when it cannot.
   explicit FileSystems(std::filesystem::path root);
   // Removes the mount points' folder.
   ~FileSystems();
   FileSystems(FileSystems const &) = delete;
   FileSystems & operator=(FileSystems const &) = delete;

   std::filesystem::path const & root() const { return root_; }
   // Whether files below the mount points support direct I/O.
   bool supportDirectIo() const { return directIo_; }

   // Mounts the partition, such as "sda1", at /mnt/NAME, in place of the previous one.
   void mountIs(std::string_view name, std::string_view partition, Access access = Access::readWrite);
   void mountDel(std::string_view name);

   // Used space in percent; 0, the default: that of the folder's own file system. An agent reads it, like the
   // error below, every five seconds of framework time.
   void usedPercentIs(std::string_view name, unsigned percent);
   // The errno value with which every write fails; 0: none fails.
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

}  // namespace StorageDevices::Simulation
