// Reads the appliance's three files that tell which disks are its own: blockdev, multidrive and
// multidrive_src. All are words separated by white space; line breaks carry no meaning.
//
// A file is read up to its end, a read error or a bound, whichever comes first. The bounds keep a file
// that is none of ours (a device, an image) from filling the memory: a file beyond one of them counts as
// one with a read error. What was read before a read error is kept, except for the word it was in.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace StorageDevices {

struct ApplianceFileBounds {
   static constexpr std::size_t wordBytes = 4096;       // the longest path the kernel knows
   static constexpr std::size_t fileBytes = 1U << 20U;  // read at most, white space included
   static constexpr std::size_t entries = 4096;         // entries of blockdev, or words of multidrive
};

struct BlockdevFile {
   struct Entry {
      std::string pattern;            // matches the sysfs path of a disk, whitebox tail cut off
      std::string mount;              // where it is mounted, below /mnt
      bool whiteboxModified = false;  // the file's pattern had a whitebox tail

      bool operator==(Entry const &) const = default;
   };

   struct Lines {
      std::size_t pattern;
      std::size_t mount;
   };

   std::vector<Entry> entries;  // in file order
   std::vector<Lines> lines;    // where the words of each entry stand, from 1
   bool lonelyPattern = false;  // the last pattern has no mount and was dropped
   bool readError = false;      // reading stopped elsewhere than at the end of the file
};

struct MultidriveFile {
   std::vector<std::string> patterns;  // in file order
   std::vector<std::size_t> lines;     // where each stands, from 1
   bool readError = false;             // reading stopped elsewhere than at the end of the file
};

struct MultidriveSrcFile {
   std::optional<std::string> pattern;  // the first word; the rest is not read
   std::size_t line = 0;                // where it stands, from 1
   bool readError = false;              // the first word was missed elsewhere than at the end of the file
};

// Each takes an open file. One that could not be opened reads as empty with a read error.
BlockdevFile readBlockdev(std::istream & file);
MultidriveFile readMultidrive(std::istream & file);
MultidriveSrcFile readMultidriveSrc(std::istream & file);

}  // namespace StorageDevices
