#include "agent/history/HistoryFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <new>
#include <system_error>
#include <utility>

#include "runtime/Vorn/BlockingCall.h"
#include "runtime/Vorn/Shortage.h"
#include "runtime/host/TimeSource.h"

namespace Agent {

namespace {

// Of real time: what a killed agent loses at most.
constexpr double period = 600;
constexpr std::size_t mostDiskBytes = std::size_t{256} << 10U;  // and what frames them

struct FileText {
   std::string text;
   bool regular = true;
   int error = 0;  // errno value
};

// A pipe or a device in the place of the file is not read.
FileText textAt(std::string const & path) {
   Vorn::BlockingCall const call{"read", path};
   struct stat status {};
   if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
      return {{}, false, 0};
   Base::UniqueFd const fd{open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)};
   if (!fd || fstat(fd.get(), &status) != 0)
      return {{}, true, errno};
   FileText file{{}, S_ISREG(status.st_mode), 0};
   if (!file.regular || status.st_size > static_cast<off_t>(mostHistoryBytes))
      return file;
   file.text.resize(static_cast<std::size_t>(status.st_size));
   ssize_t const count = pread(fd.get(), file.text.data(), file.text.size(), 0);
   file.error = count < 0 ? errno : 0;
   file.text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
   return file;
}

// Answers 0 or an errno value.
int writeAll(int fd, std::string_view text) {
   while (!text.empty()) {
      ssize_t const count = ::write(fd, text.data(), text.size());
      if (count < 0 && errno != EINTR)
         return errno;
      text.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
   }
   return 0;
}

// The new name in the directory is on the medium.
int syncDirectory(std::string const & path) {
   std::filesystem::path const folder = std::filesystem::path{path}.parent_path();
   Base::UniqueFd const fd{open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
   return fd && fsync(fd.get()) == 0 ? 0 : errno;
}

// Those of the rows within the span until now, in framework time; the rest is later than now.
template <class Add>
std::size_t eachKept(RowsOfText const & rows, Vorn::Seconds utcOffset, Vorn::Seconds span, Add add) {
   Vorn::Seconds const now = Vorn::System::currentTime();
   for (std::size_t i = 0; i < rows.size(); ++i) {
      HistoryRow row = rows[i];
      row.time -= utcOffset;
      if (row.time > now)
         return rows.size() - i;
      if (row.time >= now - span)
         add(row);
   }
   return 0;
}

}  // namespace

HistoryFile::HistoryFile(std::string path, History & history, UtcOffset utcOffset, Notice notice)
    : path_{std::move(path)},
      history_{history},
      utcOffset_{std::move(utcOffset)},
      notice_{std::move(notice)} {
   if (!path_.empty() && history_.span() > 0)
      read();
   clock_.timeMinIs(Vorn::System::currentTime() + Vorn::Host::timeSource().spanOf(period));
}

void HistoryFile::read() {
   auto const begins = [this](std::string const & why) {
      notice_(LOG_WARNING, path_ + ": " + why + "; the history begins anew");
   };
   try {
      FileText const file = textAt(path_);
      isOurs_ = file.regular;
      if (file.regular && file.error == 0)
         take(file.text);
      else if (file.regular && file.error != ENOENT)
         begins("cannot be read (" + Vorn::errorAndRemedy(file.error) + ")");
   } catch (std::bad_alloc const &) {
      begins("cannot be read (" + Vorn::errorAndRemedy(ENOMEM) + ")");
   }
   if (!isOurs_)
      notice_(LOG_ERR, path_ +
                           ": is no history of this program, so it is left as it is, and the history does "
                           "not survive a restart; remove it, or set history.file elsewhere");
}

void HistoryFile::take(std::string const & text) {
   using State = HistoryOfText::State;
   HistoryOfText const history = readHistoryText(text);
   isOurs_ = history.state != State::foreign;
   if (history.state == State::good)
      restore(history);
   else if (isOurs_)
      notice_(LOG_WARNING, path_ +
                               (history.state == State::later ? ": was written by a later version"
                                                              : ": is damaged or not whole") +
                               "; the history begins anew");
}

void HistoryFile::restore(HistoryOfText const & text) {
   std::size_t later = 0;
   for (DiskOfText const & disk : text.disks)
      later += restoreDisk(disk);
   if (later > 0)
      notice_(LOG_WARNING, path_ + ": " + std::to_string(later) +
                               " readings are later than now and are left out, since the clock was set back");
}

// Answers the number of rows that are later than now.
std::size_t HistoryFile::restoreDisk(DiskOfText const & disk) {
   Vorn::Seconds const offset = utcOffset_();
   DiskHistory & history = history_.diskIs(Pelm::String{disk.serial});
   std::size_t const later = eachKept(disk.fine, offset, history_.span(),
                                      [&](HistoryRow const & row) { history.fine().restore(row); });
   if (!history.coarse())
      return later;
   // A file of a time when a day was all that was kept.
   RowsOfText const & rows = disk.coarse.size() > 0 ? disk.coarse : disk.fine;
   eachKept(rows, offset, history_.span(), [&](HistoryRow const & row) { history.coarse()->add(row, 0); });
   return later;
}

void HistoryFile::handleClock() {
   clock_.timeMinIs(Vorn::System::currentTime() + Vorn::Host::timeSource().spanOf(period));
   if (!writing_)
      begin();
   else if (writing_->at < writing_->serials.size())
      writeDisk();
   else
      finish();
   if (writing_)
      clock_.timeMinIs(0);
}

void HistoryFile::write() {
   begin();
   while (writing_ && writing_->at < writing_->serials.size())
      writeDisk();
   if (writing_)
      finish();
}

void HistoryFile::begin() {
   if (path_.empty() || history_.span() <= 0 || !isOurs_)
      return;
   std::error_code ignored;  // what is wrong shows where the file is opened
   std::filesystem::create_directories(std::filesystem::path{path_}.parent_path(), ignored);
   unlink(temporary_.c_str());
   constexpr mode_t ownerAlone = 0600;
   writing_ =
       Writing{Base::UniqueFd{open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, ownerAlone)}};
   if (!writing_->file)
      return fails(errno);
   for (auto const & [serial, history] : history_.disks())
      writing_->serials.push_back(serial);
   writePart(writing_->text.begin());
}

// A disk that is gone since the beginning is left out.
void HistoryFile::writeDisk() {
   Pelm::String const serial = writing_->serials[writing_->at++];
   DiskHistory const * const history = history_.disk(serial);
   bool const fits = !serial.empty() && serial.view().size() <= HistoryTextWriter::longestSerial;
   if (history && fits && writing_->bytes < mostHistoryBytes - mostDiskBytes)
      writePart(writing_->text.disk(serial.view(), *history, utcOffset_()));
}

void HistoryFile::finish() {
   writePart(writing_->text.end());
   if (!writing_)
      return;
   if (int const error = replace(); error != 0)
      return fails(error);
   writing_.reset();
   failure_ = 0;
}

void HistoryFile::writePart(std::string const & part) {
   Vorn::BlockingCall const call{"write", temporary_};
   writing_->bytes += part.size();
   if (int const error = writeAll(writing_->file.get(), part); error != 0)
      fails(error);
}

// Answers 0 or an errno value.
int HistoryFile::replace() const {
   Vorn::BlockingCall const call{"fsync", temporary_};
   if (fsync(writing_->file.get()) != 0 || std::rename(temporary_.c_str(), path_.c_str()) != 0)
      return errno;
   return syncDirectory(path_);
}

void HistoryFile::fails(int error) {
   writing_.reset();
   unlink(temporary_.c_str());
   if (std::exchange(failure_, error) != error)
      notice_(LOG_WARNING, path_ + ": cannot be written (" + Vorn::errorAndRemedy(error) +
                               "), so the history does not survive a restart; allow it, or set history.file "
                               "elsewhere (\"\" keeps none)");
}

}  // namespace Agent
