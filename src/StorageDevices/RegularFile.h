// Reads untrusted paths. Only a regular file is opened for reading, so a FIFO or a device in its place can
// neither stall the reader nor be triggered.
#pragma once

#include <cstddef>
#include <string>

namespace StorageDevices {

struct FileText {
   std::string text;     // the contents; up to the last whole word after a read error
   int openError = 0;    // errno value, 0 when the file was opened
   bool regular = true;  // false: it exists, but is no regular file and was not read
   int readError = 0;    // errno value of a read that failed

   // Whether a file exists but could not be read to its end.
   bool failed() const { return !regular || readError != 0; }
};

// Reads at most `maxBytes` of the file. Follows a symbolic link to a regular file.
FileText readRegularFile(std::string const & path, std::size_t maxBytes);

// The same for a mount-source file. If a symbolic link is in the place of its directory, `openError` is
// ELOOP.
FileText readMountSource(std::string const & directory, std::string const & name, std::size_t maxBytes);

}  // namespace StorageDevices
