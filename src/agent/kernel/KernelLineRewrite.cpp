#include "agent/kernel/KernelLineRewrite.h"

#include <algorithm>

#include "StorageDevices/KernelLine.h"
#include "StorageDevices/TextCursor.h"
#include "agent/kernel/KernelDeviceName.h"
#include "agent/kernel/KernelLinePrefix.h"

namespace Agent {

namespace {

using StorageDevices::between;
using StorageDevices::deviceInKernelLine;

constexpr std::string_view beginning = "kernel: [";

// The line with its partition replaced by the disk; empty when the library reads no disk's name from it.
std::string withDisk(std::string_view line) {
   auto const device = deviceInKernelLine(line);
   std::string const disk = device ? wholeDisk(*device) : std::string{};
   if (disk.empty())
      return {};
   std::string result{between(line.data(), device->data())};
   result += disk;
   return result.append(device->data() + device->size(), line.data() + line.size());
}

// The line, changed so that the library reads no device from it.
std::string silent(std::string_view line) {
   std::string result{line};
   if (!deviceInKernelLine(line))
      return result;
   for (auto at = result.find(beginning); at != result.npos; at = result.find(beginning, at))
      result[at + beginning.size() - 2] = '_';
   return result;
}

// A device or a file may carry "(sda): This should" in its name, and a USB device an event behind
// "usb 1-2: Name".
bool isNoMessage(std::string_view line, std::string_view device) {
   if (device.find(':') != device.npos)
      return true;
   auto const at = static_cast<std::size_t>(device.data() - line.data());
   return at > 0 && line[at - 1] == '(' && line.substr(at + device.size()).starts_with("):");
}

std::string unlisted(std::string_view line, std::string_view text, std::string const & head) {
   for (std::string const & candidate : {std::string{line}, head + std::string{text}}) {
      auto const device = deviceInKernelLine(candidate);
      if (!device)
         continue;
      if (isNoMessage(candidate, *device))
         return silent(line);
      if (std::string result = withDisk(candidate); !result.empty())
         return result;
   }
   return std::string{line};
}

// Whether a line of a file system that may lie on several devices also names another one by its path.
bool namesAnother(std::string_view text, KernelMatch const & match) {
   constexpr std::string_view folder = "/dev/";
   std::size_t const at = match.namedAs == NamedAs::pool ? text.find(folder) : text.npos;
   return at != text.npos && !text.substr(at + folder.size()).starts_with(match.device);
}

// The message in the library's form. The kernel's own text is left out where the library would misread it.
std::string inWords(KernelForm form, std::string_view line, std::string const & head, std::string_view text,
                    KernelMatch const & match) {
   auto const isRead = [&](std::string_view candidate) {
      auto const device = deviceInKernelLine(candidate);
      return device && *device == match.device;
   };
   for (std::string const & candidate : {std::string{line}, head + std::string{text}})
      if (std::string known = withDisk(candidate); isRead(known))
         return known;
   std::string whole = (head + inLibraryForm(form, text, match)).substr(0, kernelLineSize);
   if (isRead(whole))
      return whole;
   std::string const bare = head + quotedInLibraryForm(match.device, {});
   return isRead(bare) ? bare : silent(line);
}

}  // namespace

std::string KernelLineRewriter::rewrittenText(std::string_view line) {
   auto const prefix = kernelLinePrefix(line);
   if (!prefix) {
      std::string const result = withDisk(line);
      return result.empty() ? std::string{line} : result;
   }
   KernelMatch match;
   KernelMessage const * const message = kernelMessageOf(prefix->text, match);
   if (!message)
      return unlisted(line, prefix->text, prefix->head);
   rememberPool(match);
   bool const isNobodys = message->form == KernelForm::nobody || match.device.empty();
   if (isNobodys || namesAnother(prefix->text, match) || isDoubtful(match, prefix->stamp))
      return silent(line);
   rememberFailure(match, prefix->stamp);
   return inWords(message->form, line, prefix->head, prefix->text, match);
}

bool KernelLineRewriter::isDoubtful(KernelMatch const & match, Vorn::Seconds stamp) const {
   if (match.namedAs != NamedAs::pool)
      return false;
   if (std::find(pools_.begin(), pools_.end(), match.fileSystem) != pools_.end() ||
       (liesOnSeveral_ && liesOnSeveral_(match.fileSystem)))
      return true;
   constexpr Vorn::Seconds shortly = 60;
   bool hasOwn = false;
   bool hasOther = false;
   for (Failure const & failure : failures_)
      if (!failure.disk.empty() && stamp - failure.stamp <= shortly)
         (failure.disk == match.device ? hasOwn : hasOther) = true;
   return hasOther && !hasOwn;
}

void KernelLineRewriter::rememberPool(KernelMatch const & match) {
   bool const isElsewhere = match.namedAs == NamedAs::device && !match.fileSystem.empty() &&
                            wholeDisk(match.fileSystem) != match.device;
   if (!isElsewhere || std::find(pools_.begin(), pools_.end(), match.fileSystem) != pools_.end())
      return;
   if (pools_.size() == mostPools)
      pools_.erase(pools_.begin());
   pools_.emplace_back(match.fileSystem);
}

void KernelLineRewriter::rememberFailure(KernelMatch const & match, Vorn::Seconds stamp) {
   if (match.namedAs != NamedAs::device || !match.isBlockDevice)
      return;
   auto known = std::find_if(failures_.begin(), failures_.end(),
                             [&](Failure const & failure) { return failure.disk == match.device; });
   if (known == failures_.end()) {
      known = failures_.begin() + static_cast<std::ptrdiff_t>(oldest_);
      oldest_ = (oldest_ + 1) % failures_.size();
   }
   *known = {match.device, stamp};
}

std::string KernelLineRewriter::rewritten(std::string_view line) {
   line = line.substr(0, kernelLineSize);
   std::string result = rewrittenText(line.substr(0, line.find('\0')));
   result.resize(std::min(result.size(), kernelLineSize));
   return result;
}

std::string rewriteKernelLine(std::string_view line) {
   return KernelLineRewriter{}.rewritten(line);
}

}  // namespace Agent
