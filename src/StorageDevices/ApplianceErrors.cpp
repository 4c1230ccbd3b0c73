#include "StorageDevices/ApplianceErrors.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "StorageDevices/ApplianceFiles.h"
#include "StorageDevices/CDevsUtil.h"

namespace StorageDevices {

namespace {

using Errors = std::vector<std::string>;

// Checks one file after the other.
class Check {
 public:
   explicit Check(std::string etcDir) : etcDir_{std::move(etcDir)} {}

   void blockdev() {
      std::ifstream file;
      if (!open(file, "blockdev"))
         return;
      BlockdevFile const read = readBlockdev(file);
      ended(read.readError);
      if (read.lonelyPattern)
         error("its last pattern has no mount name: write pairs of a path pattern and a mount name");
      for (auto const & entry : read.entries)
         pattern(entry.pattern);
   }

   void multidrive() {
      std::ifstream file;
      if (!open(file, "multidrive"))
         return;
      MultidriveFile const read = readMultidrive(file);
      ended(read.readError);
      for (std::string const & each : read.patterns)
         pattern(each);
   }

   void multidriveSrc() {
      std::ifstream file;
      if (!open(file, "multidrive_src"))
         return;
      MultidriveSrcFile const read = readMultidriveSrc(file);
      ended(read.readError);
      if (read.pattern)
         pattern(*read.pattern);
   }

   Errors const & errors() const { return errors_; }

 private:
   // False also when it is not there.
   bool open(std::ifstream & file, char const * name) {
      path_ = etcDir_ + "/" + name;
      errno = 0;
      file.open(path_);
      if (!file && errno != ENOENT)
         error(std::string{"cannot be read: "} + std::strerror(errno));
      return file.is_open();
   }

   void ended(bool readError) {
      if (readError)
         error("cannot be read to its end: is it a text file of words of at most " +
               std::to_string(ApplianceFileBounds::wordBytes) + " characters, not more than " +
               std::to_string(ApplianceFileBounds::entries) + " of them?");
   }

   void pattern(std::string const & text) {
      constexpr int noMatch = 1;
      constexpr int noPattern = 2;
      constexpr int cannotRun = 127;
      if (exprMissing_)
         return;
      int const status = CDevsUtil::askExpr("/", text.c_str()).status;
      if (status == noPattern)
         error("the pattern " + text + " is no basic regular expression: correct it");
      else if (status == cannotRun)
         error("its patterns cannot be matched, for there is no expr: install coreutils");
      else if (status != 0 && status != noMatch)
         error("the pattern " + text + " makes expr fail with " + std::to_string(status) + ": correct it");
      exprMissing_ = status == cannotRun;
   }

   void error(std::string const & text) { errors_.push_back(path_ + ": " + text); }

   std::string etcDir_;
   std::string path_;
   Errors errors_;
   bool exprMissing_ = false;
};

}  // namespace

std::vector<std::string> applianceErrors(Pelm::String const & etcDir) {
   Check check{etcDir.str()};
   check.blockdev();
   check.multidrive();
   check.multidriveSrc();
   return check.errors();
}

}  // namespace StorageDevices
