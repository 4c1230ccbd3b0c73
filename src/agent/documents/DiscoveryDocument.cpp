#include "agent/documents/DiscoveryDocument.h"

#include <cstring>
#include <utility>

#include "runtime/Vorn/Shortage.h"

namespace Agent {

namespace {

void writeUnclassified(Base::JsonWriter & writer, StorageDevices::Unclassified const & device) {
   writer.StartObject();
   Base::writeMember(writer, "device", device.device.view());
   Base::writeMember(writer, "attempt", device.attempt.view());
   Base::writeMember(writer, "error", std::strerror(device.error));
   Base::writeMember(writer, "remedy", Vorn::shortageRemedy(device.error));
   writer.EndObject();
}

}  // namespace

JsonValue discoveryJson(StorageDevices::ConnectedDevicesSm const * discovery) {
   JsonValue devices = JsonMembers{};
   if (discovery)
      devices = jsonObject(discovery->unclassifiedDevice, writeUnclassified);
   return JsonMembers{}
       .add("anonymousRemovalCount", numberJson(discovery ? discovery->anonymousRemovalCount() : 0))
       .add("unclassifiedDevices", std::move(devices));
}

}  // namespace Agent
