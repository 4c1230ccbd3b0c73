#include "StorageDevices/EmmcDataMonitorSm.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <utility>

#include "StorageDevices/Factories.h"
#include "StorageDevices/PathPattern.h"
#include "runtime/Vorn/Machine.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

Vorn::TraceHandle traceHandle{"StorageEmmcDataMonitorSm", true};

// Support greps for these texts; they do not follow the compiler's spelling of signatures.
constexpr char safeOpenFilestreamName[] =
    "bool StorageDevices::EmmcDataAccess::safeOpenFilestream(std::ifstream&, std::string)";
constexpr char updateDeviceName[] =
    "virtual void StorageDevices::EmmcDataMonitorSm::updateDevice(const String&)";

// The next hexadecimal number of the stream, with or without 0x. It extracts into a wider type, since
// extracting into a byte reads a character.
std::optional<std::uint8_t> readByte(std::ifstream & stream) {
   unsigned value = 0;
   if (!(stream >> std::hex >> value) || value > std::numeric_limits<std::uint8_t>::max())
      return std::nullopt;
   return static_cast<std::uint8_t>(value);
}

}  // namespace

bool EmmcDataAccess::safeOpenFilestream(std::ifstream & stream, std::string const & path) {
   stream.open(path);
   if (stream.is_open())
      return true;
   VORN_TRACE(traceHandle, 0) << safeOpenFilestreamName << " Could not open " << path;
   return false;
}

bool EmmcDataAccess::getEmmcAttrs(std::string const & baseDir, DeviceEmmcData & deviceData) {
   std::optional<std::uint8_t> typeA;
   std::optional<std::uint8_t> typeB;
   std::optional<std::uint8_t> preEol;
   if (std::ifstream lifeTime; safeOpenFilestream(lifeTime, baseDir + "/life_time")) {
      typeA = readByte(lifeTime);
      typeB = readByte(lifeTime);
   }
   if (std::ifstream preEolInfo; safeOpenFilestream(preEolInfo, baseDir + "/pre_eol_info"))
      preEol = readByte(preEolInfo);
   if (!typeA || !typeB || !preEol)
      return false;
   deviceData.preEolInfoIs(PreEolEmmcAttr{*preEol});
   deviceData.lifetimeEstTypAIs(LifetimeEmmcAttr{*typeA});
   deviceData.lifetimeEstTypBIs(LifetimeEmmcAttr{*typeB});
   deviceData.reading.countInc();
   return true;
}

EmmcDataMonitorSm::EmmcDataMonitorSm(Pelm::Ptr<PollInterval const> pollInterval,
                                     Pelm::Ptr<ConnectedDevices const> devices, Pelm::Ptr<EmmcData> data)
    : RecordMonitorSm{std::move(pollInterval), std::move(devices), std::move(data)} {
   typeStrIs("Emmc");
}

bool EmmcDataMonitorSm::isRead(ConnectedDisk const & disk) const {
   return disk.busType() == ConnectedDisk::BusType::other;
}

void EmmcDataMonitorSm::updateDevice(Pelm::String const & serial) {
   Pelm::Ptr<DeviceEmmcData> const record = data()->deviceData(serial);
   Pelm::Ptr<ConnectedDisk const> const disk = readDisk(serial);
   if (!record || !disk)
      return;
   std::string const baseDir = pathFromPattern(emmcBaseDir().view(), disk->blockDeviceName().view());
   if (EmmcDataAccess::getEmmcAttrs(baseDir, *record))
      return;
   VORN_TRACE(traceHandle, 0) << updateDeviceName << " Error while parsing data for " << serial;
   record->reading.failureIs("the registers life_time and pre_eol_info cannot be read");
}

Pelm::Ptr<EmmcDataMonitorSm> emmcDataMonitorSmFactory(Pelm::Ptr<PollInterval const> const & pollInterval,
                                                      Pelm::Ptr<ConnectedDevices const> const & devices,
                                                      Pelm::Ptr<EmmcData> const & data) {
   return Vorn::makeMachine<EmmcDataMonitorSm>(pollInterval, devices, data);
}

}  // namespace StorageDevices
