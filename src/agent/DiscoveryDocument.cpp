#include "agent/DiscoveryDocument.h"

#include <cstring>

#include "StorageDevices/Shortage.h"

namespace Agent {

namespace {

void writeUnclassified(JsonWriter & writer, StorageDevices::Unclassified const & device) {
   writer.StartObject();
   writeMember(writer, "device", device.device.view());
   writeMember(writer, "attempt", device.attempt.view());
   writeMember(writer, "error", std::strerror(device.error));
   writeMember(writer, "remedy", StorageDevices::shortageRemedy(device.error));
   writer.EndObject();
}

}  // namespace

void writeDiscovery(JsonWriter & writer, StorageDevices::ConnectedDevicesSm const * discovery) {
   writer.StartObject();
   writer.Key("anonymousRemovalCount");
   writer.Uint64(discovery ? discovery->anonymousRemovalCount() : 0);
   writer.Key("unclassifiedDevices");
   writer.StartObject();
   if (discovery)
      for (auto const & [key, device] : discovery->unclassifiedDevice) {
         writeKey(writer, key.view());
         writeUnclassified(writer, device);
      }
   writer.EndObject();
   writer.EndObject();
}

}  // namespace Agent
