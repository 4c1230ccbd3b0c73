#include "manual/JournalCatalogue.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "StorageDevices/LogCatalogue.h"
#include "agent/logs/MessageIds.h"

namespace Manual {
namespace {

using StorageDevices::Catalogue::all;

TEST(JournalCatalogueTest, ExplainsAMessageAndItsAction) {
   EXPECT_EQ(
       journalCatalogue({&StorageDevices::Catalogue::partitionNotMounted, 1}, "https://support.example/"),
       "-- e077935b84b142c99737b3af3bbf59ef\n"
       "Subject: Storage device partition … not mounted as …\n"
       "Defined-By: StorageDevices\n"
       "Support: https://support.example/\n"
       "Documentation: man:storagedevices-messages(7)\n"
       "\n"
       "STORAGEDEVICE_PARTITION_NOT_MOUNTED\n"
       "\n"
       "The specified storage device partition is not currently mounted. This can happen if the partition is "
       "not properly formatted or if the storage device was not detected by the driver.\n"
       "\n"
       "Check that the storage device is seated and connected. If the condition persists, contact the "
       "support "
       "of the appliance.\n"
       "\n");
}

TEST(JournalCatalogueTest, NamesNoSupportWhereThereIsNone) {
   EXPECT_EQ(journalCatalogue(all, "").find("Support:"), std::string::npos);
}

TEST(JournalCatalogueTest, HasAnEntryForEachMessage) {
   std::string const text = journalCatalogue(all, "");
   for (auto const & [name, id] : Agent::messageIds) {
      EXPECT_NE(text.find("-- " + std::string{id} + "\n"), std::string::npos) << name;
      EXPECT_NE(text.find("\n\n" + std::string{name} + "\n\n"), std::string::npos) << name;
   }
   EXPECT_EQ(text.find("%s"), std::string::npos);
}

TEST(JournalCatalogueTest, RefusesAMessageWithoutAnId) {
   Vorn::LogDescriptor const stranger{"LAMP_OUT", "lamp %s is out", "", "", 4};
   EXPECT_THROW(journalCatalogue({&stranger, 1}, ""), std::invalid_argument);
}

}  // namespace
}  // namespace Manual
