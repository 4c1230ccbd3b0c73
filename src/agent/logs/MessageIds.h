// The MESSAGE_ID of each message of the library in systemd's journal. By it an operator finds every instance
// (`journalctl MESSAGE_ID=…`), and `journalctl -x` the explanation. Scripts match on it, so none ever
// changes.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace Agent {

struct MessageId {
   std::string_view name;
   std::string_view id;  // 128 bits in lower-case hexadecimal, as `systemd-id128 new` invents them
};

inline constexpr std::array messageIds{
    MessageId{"STORAGEDEVICE_LIFETIME_WARNING", "4cd098ae65114914a70c60319dbf2212"},
    MessageId{"STORAGEDEVICE_LIFETIME_INFO", "7d7bb0eb453541408df927fb961d1479"},
    MessageId{"STORAGEDEVICE_OFFLINE", "7c47988111a1412bb4e1626a9c906846"},
    MessageId{"STORAGEDEVICE_UNEXPECTED_PARTITION_MOUNTED", "687138f10baa425b8575780aa2388421"},
    MessageId{"STORAGEDEVICE_PARTITION_NOT_MOUNTED", "e077935b84b142c99737b3af3bbf59ef"},
    MessageId{"STORAGEDEVICE_DETECTION_ERROR", "822ec72245e04087baeee230b5289e74"},
    MessageId{"STORAGEDEVICE_MONITOR_WARNING", "7958ee563884457ea683b9c3fad4af6d"},
    MessageId{"STORAGEDEVICE_IO_ERROR_EXTERNAL_USB", "518e334b16ea4dab90cc6951082e3c5d"},
    MessageId{"STORAGEDEVICE_IO_ERROR", "33d486bc475f4f0dbb85148512ec66f1"},
    MessageId{"STORAGEDEVICE_MONITOR_ERROR", "cf6bb33cdeed4309a1d7cab5a0c582e0"},
};

// Empty for a message of another library.
constexpr std::optional<std::string_view> messageId(std::string_view name) {
   for (MessageId const & message : messageIds)
      if (message.name == name)
         return message.id;
   return std::nullopt;
}

}  // namespace Agent
