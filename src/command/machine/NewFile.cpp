#include "command/machine/NewFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "base/UniqueFd.h"

namespace Command {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(fs::path const & path) {
   throw std::system_error{errno, std::generic_category(), path.string() + ": cannot be written"};
}

void writeAll(int fd, std::string_view text, fs::path const & path) {
   while (!text.empty()) {
      ssize_t const count = write(fd, text.data(), text.size());
      if (count < 0 && errno != EINTR)
         fail(path);
      text.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
   }
}

// A file without its name yet; removed at the end.
class Draft {
 public:
   explicit Draft(fs::path const & path) : path_{path}, name_{path.string() + ".XXXXXX"} {
      fd_.reset(mkostemp(name_.data(), O_CLOEXEC));
      if (!fd_)
         fail(path);
   }
   Draft(Draft const &) = delete;
   Draft & operator=(Draft const &) = delete;
   ~Draft() { unlink(name_.c_str()); }

   void fill(std::string_view text) const {
      constexpr mode_t everybodyReads = 0644;
      writeAll(fd_.get(), text, path_);
      if (fchmod(fd_.get(), everybodyReads) != 0 || fsync(fd_.get()) != 0)
         fail(path_);
   }
   // A link is made or refused, and never replaces anything.
   bool publish() const {
      if (link(name_.c_str(), path_.c_str()) == 0)
         return true;
      if (errno != EEXIST)
         fail(path_);
      return false;
   }

 private:
   fs::path path_;
   std::string name_;
   Base::UniqueFd fd_;
};

}  // namespace

bool writeNewFile(fs::path const & path, std::string_view text) {
   std::error_code error;
   fs::create_directories(path.parent_path(), error);
   if (error)
      throw std::system_error{error, path.parent_path().string() + ": cannot be made"};
   Draft const draft{path};
   draft.fill(text);
   return draft.publish();
}

}  // namespace Command
