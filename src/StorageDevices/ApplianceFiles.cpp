#include "StorageDevices/ApplianceFiles.h"

#include <istream>
#include <utility>

#include "StorageDevices/CharacterClasses.h"
#include "StorageDevices/DeviceNames.h"

namespace StorageDevices {

namespace {

// Replaces the stream's own word extraction, which has no bounds.
class WordReader {
 public:
   explicit WordReader(std::istream & file) : file_(file) {}

   // The next word; nothing at the end of the file and after the first failure.
   std::optional<std::string> next() {
      std::string word;
      auto c = take();
      while (c && isSpace(*c))
         c = take();
      line_ = linesBegun_;
      while (c && !isSpace(*c)) {
         if (word.size() == ApplianceFileBounds::wordBytes)
            failed_ = true;
         word.push_back(*c);
         c = take();
      }
      if (word.empty() || failed_)
         return std::nullopt;
      return word;
   }

   // The line of the latest word, from 1.
   std::size_t line() const { return line_; }

   // Whether reading stopped before the end of the file.
   bool failed() const { return failed_; }

   void failedIs(bool failed) { failed_ = failed; }

 private:
   std::optional<char> take() {
      char c = 0;
      if (failed_)
         return std::nullopt;
      if (!file_.get(c)) {
         failed_ = !file_.eof();
         return std::nullopt;
      }
      if (c == '\n')
         ++linesBegun_;
      failed_ = taken_++ == ApplianceFileBounds::fileBytes;
      return failed_ ? std::nullopt : std::optional(c);
   }

   std::istream & file_;
   std::size_t taken_ = 0;
   std::size_t linesBegun_ = 1;
   std::size_t line_ = 0;
   bool failed_ = false;
};

// Adds an entry unless the list is at its bound.
template <typename Entry>
void add(std::vector<Entry> & entries, Entry entry, WordReader & words) {
   if (entries.size() == ApplianceFileBounds::entries)
      words.failedIs(true);
   else
      entries.push_back(std::move(entry));
}

BlockdevFile::Entry blockdevEntry(std::string pattern, std::string mount) {
   if (auto cut = withoutWhiteboxTail(pattern))
      return {std::move(*cut), std::move(mount), true};
   return {std::move(pattern), std::move(mount), false};
}

}  // namespace

BlockdevFile readBlockdev(std::istream & file) {
   BlockdevFile result;
   WordReader words(file);
   while (auto pattern = words.next()) {
      std::size_t const line = words.line();
      auto mount = words.next();
      if (!mount) {
         result.patternWithoutMount = !words.failed();
         break;
      }
      result.lines.push_back({line, words.line()});
      add(result.entries, blockdevEntry(std::move(*pattern), std::move(*mount)), words);
   }
   result.readError = words.failed();
   return result;
}

MultidriveFile readMultidrive(std::istream & file) {
   MultidriveFile result;
   WordReader words(file);
   while (auto pattern = words.next()) {
      result.lines.push_back(words.line());
      add(result.patterns, std::move(*pattern), words);
   }
   result.readError = words.failed();
   return result;
}

MultidriveSrcFile readMultidriveSrc(std::istream & file) {
   WordReader words(file);
   auto pattern = words.next();
   return {std::move(pattern), words.line(), words.failed()};
}

}  // namespace StorageDevices
