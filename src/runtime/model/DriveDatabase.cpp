#include "runtime/model/DriveDatabase.h"

#include <utility>

namespace StorageDevices {

namespace {

std::unique_ptr<DriveDatabase const> & hostsDatabase() {
   static std::unique_ptr<DriveDatabase const> database;
   return database;
}

}  // namespace

DriveDatabase::~DriveDatabase() = default;

DriveSmartMapping findDeviceMapping(Pelm::String const & model) {
   auto const & database = hostsDatabase();
   return database ? database->findDeviceMapping(model) : DriveSmartMapping{};
}

void driveDatabaseIs(std::unique_ptr<DriveDatabase const> database) {
   hostsDatabase() = std::move(database);
}

}  // namespace StorageDevices
