// Reads the three files that list the appliance's own disks: blockdev, multidrive and multidrive_src. Each
// contains words separated by white space; line breaks have no meaning.
//
// A file is read up to its end, a read error or a bound. The bounds protect the memory from a wrong file (a
// device, an image); exceeding one counts as a read error. The whole words before a read error are kept.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace StorageDevices {

struct ApplianceFileBounds {
   static constexpr std::size_t wordBytes = 4096;       // the kernel's longest path
   static constexpr std::size_t fileBytes = 1U << 20U;  // read at most, white space included
   static constexpr std::size_t entries = 4096;         // entries of blockdev, or words of multidrive
};

struct BlockdevFile {
   struct Entry {
      std::string pattern;            // matches the sysfs path of a disk; its whitebox tail is removed
      std::string mount;              // where it is mounted, below /mnt
      bool whiteboxModified = false;  // the file's pattern had a whitebox tail

      bool operator==(Entry const &) const = default;
   };

   struct Lines {
      std::size_t pattern;
      std::size_t mount;
   };

   std::vector<Entry> entries;        // in file order
   std::vector<Lines> lines;          // of the words of each entry, from 1
   bool patternWithoutMount = false;  // the last pattern has no mount and was dropped
   bool readError = false;            // reading stopped before the end of the file
};

struct MultidriveFile {
   std::vector<std::string> patterns;  // in file order
   std::vector<std::size_t> lines;     // of each pattern, from 1
   bool readError = false;             // reading stopped before the end of the file
};

struct MultidriveSrcFile {
   std::optional<std::string> pattern;  // the first word; the rest is not read
   std::size_t line = 0;                // of that word, from 1
   bool readError = false;              // reading stopped before the first word and before the end
};

// Each takes an open file. A file that could not be opened reads as empty, with a read error.
BlockdevFile readBlockdev(std::istream & file);
MultidriveFile readMultidrive(std::istream & file);
MultidriveSrcFile readMultidriveSrc(std::istream & file);

}  // namespace StorageDevices
