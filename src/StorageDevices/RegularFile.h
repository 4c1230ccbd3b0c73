// Reads files that others may have put there: nothing but a regular file is opened for long, so that a FIFO
// or a device in its place can neither stall the reader nor be set off.
#pragma once

#include <cstddef>
#include <string>

namespace StorageDevices {

struct FileText {
   std::string text;     // what could be read; to the last whole word where reading ended with an error
   int openError = 0;    // errno value, 0 when the file was opened
   bool regular = true;  // false: it is there, but is no regular file and was not read
   int readError = 0;    // errno value of a read that failed

   // Whether there is a file of which not all could be read.
   bool failed() const { return !regular || readError != 0; }
};

// At most `maxBytes` of the file. A symbolic link to a regular file is followed.
FileText readRegularFile(std::string const & path, std::size_t maxBytes);

// The same of a file of the directory of mount-source files, which is never reached through a symbolic link
// in that directory's own place: then the file cannot be opened (ELOOP).
FileText readMountSource(std::string const & directory, std::string const & name, std::size_t maxBytes);

}  // namespace StorageDevices
