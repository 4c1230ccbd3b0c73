#include "agent/config/ApplianceConfig.h"

#include <unistd.h>

#include <cerrno>

#include <system_error>

#include "runtime/model/MountSourceFolder.h"

namespace Agent {

Pelm::Ptr<FruConfig> fruConfigOf(Config const & config) {
   auto fruConfig = Pelm::make<FruConfig>();
   fruConfig->etcDirIs(Pelm::String{config.appliance.etcDir});
   fruConfig->mountSourceDirIs(Pelm::String{config.appliance.mountSourceDir});
   for (std::string const & mount : config.appliance.expectedMounts)
      fruConfig->expectedMountsIs(Pelm::String{mount});
   for (auto const & [serial, sensor] : config.appliance.sensors)
      fruConfig->serialToSensorMapIs(Pelm::String{serial}, Pelm::String{sensor});
   return fruConfig;
}

std::string mountSourceReason(int error) {
   return error == ELOOP ? "it is a symbolic link, which is not followed"
                         : std::generic_category().message(error);
}

std::optional<std::string> mountSourceError(std::filesystem::path const & directory) {
   int const folder = StorageDevices::Mounts::openSourceFolder(directory);
   if (folder >= 0)
      close(folder);
   if (folder != -ELOOP && folder != -ENOTDIR)
      return std::nullopt;
   return "appliance.mount_source_dir: " + directory.string() + ": " + mountSourceReason(-folder) +
          "; name a directory, or a place where there is nothing yet";
}

}  // namespace Agent
