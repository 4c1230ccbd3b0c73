// Where daemon and command meet, unless configured otherwise.
#pragma once

namespace Base {

inline constexpr char defaultConfigPath[] = "/etc/storagedevices/storagedevices.toml";
inline constexpr char defaultStatusSocket[] = "/run/storagedevices/status.sock";

}  // namespace Base
