#include <cerrno>
#include <cstring>
#include <sstream>

#include "StorageDevices/ApplianceFiles.h"
#include "StorageDevices/DiscoveryPreview.h"
#include "StorageDevices/ExprPattern.h"
#include "StorageDevices/RegularFile.h"
#include "StorageDevices/Shortage.h"

namespace StorageDevices {

namespace {

using Errors = std::vector<std::string>;

// Checks one file after the other.
class Check {
 public:
   explicit Check(std::string etcDir) : etcDir_{std::move(etcDir)} {}

   void blockdev() {
      FileText const file = read("blockdev");
      std::istringstream text{file.text};
      BlockdevFile const content = readBlockdev(text);
      for (std::size_t i = 0; i < content.entries.size(); ++i) {
         pattern(content.entries[i].pattern, content.lines[i].pattern);
         mountName(content.entries[i].mount, content.lines[i].mount);
      }
      ended(content.readError, file);
      if (content.patternWithoutMount && !file.failed())
         error("its last pattern has no mount name: write pairs of a path pattern and a mount name");
   }

   void multidrive() {
      FileText const file = read("multidrive");
      std::istringstream text{file.text};
      MultidriveFile const content = readMultidrive(text);
      for (std::size_t i = 0; i < content.patterns.size(); ++i)
         pattern(content.patterns[i], content.lines[i]);
      ended(content.readError, file);
   }

   void multidriveSrc() {
      FileText const file = read("multidrive_src");
      std::istringstream text{file.text};
      MultidriveSrcFile const content = readMultidriveSrc(text);
      if (content.pattern)
         pattern(*content.pattern, content.line);
      ended(content.readError, file);
   }

   Errors const & errors() const { return errors_; }

 private:
   FileText read(char const * name) {
      path_ = etcDir_ + "/" + name;
      exprAsked_ = false;
      FileText file = readRegularFile(path_, ApplianceFileBounds::fileBytes + 1);
      if (file.openError != 0 && file.openError != ENOENT)
         error("cannot be read: " + errorAndRemedy(file.openError));
      if (!file.regular)
         error("is no regular file: put a text file in its place");
      return file;
   }

   void ended(bool bounded, FileText const & file) {
      if (file.readError != 0)
         error("cannot be read to its end: " + errorAndRemedy(file.readError));
      else if (bounded)
         error("cannot be read to its end: is it a text file of words of at most " +
               std::to_string(ApplianceFileBounds::wordBytes) + " characters, not more than " +
               std::to_string(ApplianceFileBounds::entries) + " of them?");
   }

   void pattern(std::string const & text, std::size_t line) {
      constexpr int noMatch = 1;
      constexpr int noPattern = 2;
      if (exprFails_)
         return;
      // Runs `expr` itself once per file, since discovery needs it.
      auto const answer = std::exchange(exprAsked_, true) ? patterns_.ask("/", text.c_str())
                                                          : CDevsUtil::askExpr("/", text.c_str());
      if (answer.startError != 0)
         exprFails(answer.startError);
      else if (answer.status == noPattern)
         error("the pattern " + text + " is no basic regular expression: correct it", line);
      else if (answer.status != 0 && answer.status != noMatch)
         error("the pattern " + text + " makes expr fail with " + std::to_string(answer.status) +
                   ": correct it",
               line);
   }

   void exprFails(int startError) {
      exprFails_ = true;
      if (isShortage(startError))
         error("its patterns cannot be matched, because expr cannot be started: " +
               errorAndRemedy(startError));
      else
         error("its patterns cannot be matched, because expr is missing: install coreutils");
   }

   void mountName(std::string const & name, std::size_t line) {
      if (name == "." || name == ".." || name.find('/') != std::string::npos)
         error("the mount name " + name +
                   " names no folder below /mnt: write one without slashes that is not . or ..",
               line);
   }

   void error(std::string const & text) { errors_.push_back(path_ + ": " + text); }
   void error(std::string const & text, std::size_t line) {
      errors_.push_back(path_ + ":" + std::to_string(line) + ": " + text);
   }

   std::string etcDir_;
   std::string path_;
   Errors errors_;
   ExprPatterns patterns_;
   bool exprAsked_ = false;
   bool exprFails_ = false;
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
