#include "agent/MountSources.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <string_view>
#include <system_error>
#include <utility>

#include "agent/config/ApplianceConfig.h"
#include "base/UniqueFd.h"
#include "runtime/Vorn/BlockingCall.h"
#include "runtime/Vorn/Shortage.h"
#include "runtime/model/MountSourceFolder.h"
#include "runtime/model/MountTable.h"

namespace Agent {

namespace {

namespace fs = std::filesystem;

constexpr char temporaryName[] = ".new";

bool canBeFileName(std::string_view name) {
   return !name.empty() && name != temporaryName && name.size() <= NAME_MAX && name != "." && name != ".." &&
          name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

// A line with the source as one word. The mount table's own word for no source is "none".
std::string sourceLine(std::string_view source) {
   std::string line;
   for (char const c : source) {
      auto const byte = static_cast<unsigned char>(c);
      if (byte > ' ') {
         line += c;
         continue;
      }
      line += '\\';
      for (unsigned const shift : {6U, 3U, 0U})
         line += static_cast<char>('0' + ((byte >> shift) & 7U));
   }
   return (line.empty() ? "none" : line) + "\n";
}

bool writeAll(int fd, std::string_view text) {
   while (!text.empty()) {
      ssize_t const count = ::write(fd, text.data(), text.size());
      if (count < 0 && errno != EINTR)
         return false;
      text.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
   }
   return true;
}

// Answers the error number; 0: replaced.
int replaceFile(fs::path const & path, std::string_view text) {
   // One name for all, so that the file that a killed agent left behind is removed too.
   std::string const temporary = path.parent_path() / temporaryName;
   unlink(temporary.c_str());
   int const fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
   if (fd < 0)
      return errno;
   constexpr mode_t everybodyReads = 0644;
   bool good = writeAll(fd, text) && fchmod(fd, everybodyReads) == 0;
   int error = good ? 0 : errno;
   close(fd);
   if (good && std::rename(temporary.c_str(), path.c_str()) != 0)
      error = errno;
   if (error != 0)
      unlink(temporary.c_str());
   return error;
}

// Opens the directory, after making a missing one. Answers minus the error number on failure, ELOOP for a
// link.
int openDirectory(fs::path const & path) {
   int const folder = StorageDevices::Mounts::openSourceFolder(path);
   if (folder != -ENOENT)
      return folder;
   std::error_code error;
   fs::create_directories(path, error);
   return error ? -error.value() : StorageDevices::Mounts::openSourceFolder(path);
}

// Answers 0 or an errno value.
int writeSource(fs::path const & file, std::string const & name) {
   try {
      return replaceFile(file, mountSourceText(name));
   } catch (std::system_error const & error) {
      return error.code().value();
   }
}

}  // namespace

std::string mountSourceText(std::string const & name) {
   auto const mounts = StorageDevices::Mounts::mountsAt(Pelm::String{"/mnt/" + name});
   if (mounts.empty())
      return {};
   std::string const device = mounts.back().device.str();
   std::string text = sourceLine(device);
   for (std::string const & below : StorageDevices::Mounts::devicesBelow(device))
      text += sourceLine(below);
   return text;
}

MountSources::MountSources(fs::path const & directory, std::set<std::string> const & names, Notice notice)
    : directory_{directory}, notice_{std::move(notice)} {
   for (std::string const & name : names)
      if (canBeFileName(name))
         names_.insert(name);
      else
         notice_("the mount name \"" + name + "\" cannot be the name of a file in " + directory_.string() +
                 ", so what is mounted there is not checked; rename it in blockdev and expected_mounts");
   watch();
   write();
}

MountSources::~MountSources() {
   mountTable_->descriptorIs(-1);
}

void MountSources::watch() {
   if (int const error = watchTable(); error != 0) {
      notice_("changes of the mount table cannot be watched (" + Vorn::errorAndRemedy(error) +
              "); the files in " + directory_.string() + " are not updated any more");
      return;
   }
   reactor_.notifierIs(mountTable_);
   reactor_.on<&MountSources::handleMountTable>(mountTable_->readableCount, *this);
   reactor_.hasNotificationActiveIs(true);
   mountTable_->descriptorIs(changes_.get());
   mountTable_->notifyOnReadableIs(true);
}

int MountSources::watchTable() {
   table_.reset(open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC));
   changes_.reset(epoll_create1(EPOLL_CLOEXEC));
   epoll_event change{};
   change.events = EPOLLPRI;
   bool const watched =
       table_ && changes_ && epoll_ctl(changes_.get(), EPOLL_CTL_ADD, table_.get(), &change) == 0;
   return watched ? 0 : errno;
}

void MountSources::handleMountTable() {
   // Event first, table second: a change in between raises another event.
   epoll_event change{};
   epoll_wait(changes_.get(), &change, 1, 0);
   write();
}

void MountSources::write() {
   int const opened = openDirectory(directory_);
   outcome(directory_, opened < 0 ? -opened : 0);
   if (opened < 0)
      return;
   Base::UniqueFd const directory{opened};
   // The opened directory, whatever its path leads to by now.
   fs::path const place = "/proc/self/fd/" + std::to_string(directory.get());
   for (std::string const & name : names_) {
      fs::path const file = directory_ / name;
      Vorn::BlockingCall const call{"write", file.native()};
      outcome(file, writeSource(place / name, name));
   }
}

void MountSources::outcome(fs::path const & path, int error) {
   if (error == 0)
      failing_.erase(path);
   else if (failing_.insert(path).second)
      notice_(path.string() + ": cannot be written (" + mountSourceReason(error) +
              "), so wrong mounts may go unnoticed or be reported falsely; allow it, or set "
              "appliance.mount_source_dir elsewhere");
}

}  // namespace Agent
