#include "agent/kernel/KernelMessages.h"

#include <array>
#include <initializer_list>

namespace Agent {

namespace {

std::string joined(std::initializer_list<std::string_view> parts) {
   std::string result;
   for (std::string_view const part : parts)
      result += part;
   return result;
}

}  // namespace

std::span<KernelMessageGroups const> kernelMessages() {
   static std::array const parts{
       blockMessages(),          raidMessages(), ataMessages(),  scsiMessages(), usbMessages(),
       cardMessages(),           nvmeMessages(), ext4Messages(), xfsMessages(),  btrfsMessages(),
       otherFileSystemMessages()};
   return parts;
}

KernelMessage const * kernelMessageOf(std::string_view text, KernelMatch & match) {
   for (KernelMessageGroups const groups : kernelMessages())
      for (KernelMessageGroup const & group : groups) {
         std::string_view behind = text;
         KernelMatch beginning;
         if (!consumeKernelPattern(group.beginning, behind, beginning))
            continue;
         for (KernelMessage const & message : group.messages) {
            std::string_view rest = behind;
            match = beginning;
            if (consumeKernelPattern(message.pattern, rest, match))
               return &message;
         }
      }
   match = {};
   return nullptr;
}

std::string inLibraryForm(KernelForm form, std::string_view text, KernelMatch const & match) {
   std::string_view const before{text.data(),
                                 static_cast<std::size_t>(match.nameInLine.data() - text.data())};
   std::string_view const behind = text.substr(before.size() + match.nameInLine.size());
   switch (form) {
      case KernelForm::nobody:
         return {};
      case KernelForm::asIs:
         return joined({before, match.device, behind});
      case KernelForm::request:
         return joined({"blk_update_request: I/O error, dev ", match.device, behind});
      case KernelForm::buffer:
         return joined({"Buffer I/O error on device ", match.device, behind});
      case KernelForm::sense:
         return joined({"sd ", match.address, ": [", match.device, "]  ", match.event});
      case KernelForm::unhandled:
         return joined({"sd ", match.address, ": [", match.device, "] Unhandled error: ", match.event});
      case KernelForm::ata:
         return joined({match.nameInLine, ": failed command", behind});
      case KernelForm::usb:
         return joined({match.device, ": device descriptor read", behind});
      case KernelForm::usbReset:
         return joined({match.device, ": reset super-speed USB device number ", match.event});
      case KernelForm::quoted:
         return quotedInLibraryForm(match.device, text);
   }
   return {};
}

std::string quotedInLibraryForm(std::string_view device, std::string_view text) {
   return joined({"storage (", device, "): This should not happen: ", text});
}

}  // namespace Agent
