#include "agent/documents/DiskMetrics.h"

#include <array>
#include <iterator>
#include <string>

#include "tests/agent/documents/MetricsTest.h"
#include "tests/support/UnitOfRecords.h"

namespace Agent {
namespace {

using StorageDevices::OptionalSmartAttr;
using StorageDevices::SmartAttr;

class DiskMetricsTest : public Support::MetricsOf<Support::UnitOfRecords> {
 protected:
   static SmartAttr row(unsigned id, char const * name, unsigned value, std::int64_t raw) {
      SmartAttr attr;
      attr.id = static_cast<std::uint8_t>(id);
      attr.name = name;
      attr.value = static_cast<std::uint8_t>(value);
      attr.worst = static_cast<std::uint8_t>(value - 1);
      attr.thresh = 10;
      attr.raw = raw;
      attr.reportedValue = raw;
      return attr;
   }
   void nvmeLogIsRead() const {
      for (StorageDevices::NvmeField const & field : StorageDevices::nvmeFields)
         (nvme().*field.set)({field.key, 1});
   }
   void useIs(std::uint64_t read, std::uint64_t written) const {
      entities.ioStat->ioStatDataIs(serial);
      auto & history = *entities.ioStat->ioStatData(serial);
      history.recordMeasurement(Vorn::System::currentTime(), read, written);
      history.reading.countInc();
   }
};

TEST_F(DiskMetricsTest, SaysWhatADiskIs) {
   diskIs();
   EXPECT_EQ(value("storagedevices_disk_info{serial=\"KS0001\",model=\"Kestrel_S2\",firmware=\"KF1.2\","
                   "device=\"/dev/sda\",mount_point=\"/mnt/drive\",bus=\"sata\",removable=\"false\"}"),
             "1");
   EXPECT_EQ(ofDisk("size_bytes"), "240000000000");
}

TEST_F(DiskMetricsTest, NamesTheBusOfAnEmmcDeviceAndOfACard) {
   for (auto const & [type, word] :
        {std::pair{EntityMib::StorageType::eMmc, "emmc"}, {EntityMib::StorageType::unknown, "other"}}) {
      Support::DiskFields{.mibType = type, .removable = true, .busType = BusType::other}.writeTo(
          *entities.devices);
      EXPECT_EQ(seriesWith(std::string{"bus=\""} + word + "\",removable=\"true\""), 1U) << word;
   }
}

TEST_F(DiskMetricsTest, HasNoSizeForADiskOfUnknownSize) {
   Support::DiskFields{.sizeGb = 0}.writeTo(*entities.devices);
   EXPECT_EQ(ofDisk("size_bytes"), "(none)");
}

TEST_F(DiskMetricsTest, HasAllVerdictsAndTheReasonsThatHold) {
   diskIs(BusType::nvme);
   allIsRead();
   nvme().mediaErrorsIs({"media_errors", 3});
   EXPECT_EQ(ofDisk("verdict", "verdict=\"warning\""), "1");
   for (char const * other : {"ok", "unknown", "absent", "failing"})
      EXPECT_EQ(ofDisk("verdict", "verdict=\"" + std::string{other} + "\""), "0") << other;
   EXPECT_EQ(ofDisk("reason", "code=\"media-errors\""), "1");
   nvme().mediaErrorsIs({"media_errors", 0});
   EXPECT_EQ(seriesWith("_disk_reason{"), 0U);
   EXPECT_EQ(ofDisk("verdict", "verdict=\"ok\""), "1");
}

TEST_F(DiskMetricsTest, HasNoSeriesForWhatWasNotRead) {
   diskIs(BusType::nvme);
   for (char const * name : {"temperature_celsius", "power_on_seconds", "life_remaining_ratio",
                             "written_bytes_total", "io_read_bytes_total", "io_written_bytes_total",
                             "smart_attribute", "nvme_counter", "last_read_timestamp_seconds"})
      EXPECT_EQ(text().find(std::string{"disk_"} + name), std::string::npos) << name;
}

TEST_F(DiskMetricsTest, HasTheFiguresOfAnNvmeDriveInBaseUnits) {
   diskIs(BusType::nvme);
   nvmeLogIsRead();
   nvme().temperatureCelsiusIs({"temperature", 41});
   nvme().percentageUsedIs({"percent_used", 91});
   nvme().powerOnHoursIs({"power_on_hours", 17880});
   nvme().dataUnitsWrittenIs({"data_units_written", 3'000'000});
   EXPECT_EQ(ofDisk("temperature_celsius"), "41");
   EXPECT_EQ(ofDisk("life_remaining_ratio"), "0.09");
   EXPECT_EQ(ofDisk("power_on_seconds"), "64368000");
   EXPECT_EQ(ofDisk("written_bytes_total"), "1536000000000");
   EXPECT_EQ(ofDisk("nvme_counter", "name=\"percent_used\""), "91");
   EXPECT_EQ(seriesWith("nvme_counter{"), std::size(StorageDevices::nvmeFields));
}

TEST_F(DiskMetricsTest, HasZeroWhereZeroWasRead) {
   diskIs(BusType::nvme);
   nvme().percentageUsedIs({"percent_used", 100});
   EXPECT_EQ(ofDisk("life_remaining_ratio"), "0");
}

TEST_F(DiskMetricsTest, HasTheKernelsCountsOfTheNewestMeasurement) {
   diskIs();
   useIs(1024000, 0);
   useIs(9007199254740993, 2048000);
   EXPECT_EQ(ofDisk("io_read_bytes_total"), "9007199254740992");
   EXPECT_EQ(ofDisk("io_written_bytes_total"), "2048000");
}

TEST_F(DiskMetricsTest, HasTheTimeOfTheLatestGoodReadingBySource) {
   diskIs(BusType::nvme);
   nvme().reading.countInc(1005);
   readingFails("smartctl");
   EXPECT_EQ(ofDisk("last_read_timestamp_seconds", "source=\"nvme\""), "1700000005");
   EXPECT_EQ(seriesWith("last_read_timestamp_seconds{"), 1U);
}

TEST_F(DiskMetricsTest, HasEveryKindOfEverySmartRow) {
   diskIs();
   smart().powerOnHoursIs(OptionalSmartAttr::from(row(9, "Power_On_Hours", 98, 12345)));
   smart().unknownAttrIs(row(3, "Spin_Up_Time", 100, -1));
   auto const of = [this](char const * labels) { return ofDisk("smart_attribute", labels); };
   EXPECT_EQ(of("id=\"9\",name=\"Power_On_Hours\",kind=\"value\""), "98");
   EXPECT_EQ(of("id=\"9\",name=\"Power_On_Hours\",kind=\"worst\""), "97");
   EXPECT_EQ(of("id=\"9\",name=\"Power_On_Hours\",kind=\"threshold\""), "10");
   EXPECT_EQ(of("id=\"9\",name=\"Power_On_Hours\",kind=\"raw\""), "12345");
   EXPECT_EQ(of("id=\"3\",name=\"Spin_Up_Time\",kind=\"raw\""), "-1");
   EXPECT_EQ(seriesWith("smart_attribute{"), 8U);
}

TEST_F(DiskMetricsTest, HasOneSeriesForTwoRowsOfOneNumberAndName) {
   diskIs();
   smart().powerOnHoursIs(OptionalSmartAttr::from(row(9, "Power_On_Hours", 98, 1)));
   smart().unknownAttrIs(row(9, "Power_On_Hours", 98, 2));
   EXPECT_EQ(ofDisk("smart_attribute", "id=\"9\",name=\"Power_On_Hours\",kind=\"raw\""), "1");
   smart().unknownAttrIs(row(9, "Power-On_Minutes", 98, 2));
   EXPECT_EQ(ofDisk("smart_attribute", "id=\"9\",name=\"Power-On_Minutes\",kind=\"raw\""), "2");
}

TEST_F(DiskMetricsTest, KeepsWhatIdentifiesAnAbsentDiskUntilItIsForgotten) {
   diskIs(BusType::nvme);
   nvmeLogIsRead();
   useIs(1, 2);
   allIsRead();
   ASSERT_EQ(ofDisk("temperature_celsius"), "1");
   diskGoes();
   EXPECT_EQ(ofDisk("verdict", "verdict=\"absent\""), "1");
   EXPECT_EQ(ofDisk("reason", "code=\"removed\""), "1");
   EXPECT_EQ(ofDisk("size_bytes"), "240000000000");
   EXPECT_EQ(seriesWith("_disk_info{"), 1U);
   EXPECT_EQ(seriesWith("serial=\"KS0001\""), 8U) << text();
   EXPECT_EQ(verdicts.forgetAbsent(), 1U);
   EXPECT_EQ(seriesWith("KS0001"), 0U) << text();
}

TEST_F(DiskMetricsTest, EndsAllSeriesOfARemovableDiskThatGoes) {
   diskIs(BusType::usb, true);
   ASSERT_GT(seriesWith("KS0001"), 0U);
   diskGoes();
   EXPECT_EQ(seriesWith("KS0001"), 0U);
}

// What a name from a device may be, and how it is written between the quotation marks.
struct Name {
   std::string_view bytes;
   char const * written;
};

constexpr std::array hostileNames{
    Name{"SN\"} 1\nup 0", R"(SN\"} 1\\nup 0)"},    Name{"C:\\new", R"(C:\\new)"},
    Name{"S\xff\x01N", R"(S\\xff\\x01N)"},         Name{std::string_view{"S\0N", 3}, R"(S\\x00N)"},
    Name{"\xc3\xbc\xc2\x9b", "\xc3\xbc\\\\u009b"}, Name{"S\\xff", R"(S\\x5cxff)"}};

TEST_F(DiskMetricsTest, EscapesNamesFromDevicesOnce) {
   for (Name const & name : hostileNames) {
      entities.devices->diskDelAll();
      verdicts.forgetAbsent();
      Support::DiskFields{.name = std::string{name.bytes}, .model = std::string{name.bytes}}.writeTo(
          *entities.devices);
      EXPECT_EQ(seriesWith("_disk_info{serial=\"" + std::string{name.written} + "\",model=\"" + name.written +
                           "\","),
                1U)
          << text();
   }
}

TEST_F(DiskMetricsTest, DistinguishesSerialsThatDifferInIllFormedBytesAlone) {
   for (char const * name : {"SN\xff", "SN\xfe", "SN\\xff"})
      Support::DiskFields{.name = name}.writeTo(*entities.devices);
   EXPECT_EQ(seriesWith("_disk_info{"), 3U);
}

TEST_F(DiskMetricsTest, CutsAnOverlongName) {
   Support::DiskFields{.model = std::string(longestLabel + 1, 'x')}.writeTo(*entities.devices);
   EXPECT_EQ(seriesWith("model=\"" + std::string(longestLabel, 'x') + "\""), 1U);
}

// The goals of the fleet: 60 series an NVMe drive, 150 a SATA drive with 26 rows.
TEST_F(DiskMetricsTest, HasFewSeriesForADiskWithEverythingRead) {
   diskIs(BusType::nvme);
   nvmeLogIsRead();
   useIs(1, 2);
   allIsRead();
   EXPECT_LE(seriesWith("serial=\"KS0001\""), 60U) << text();
   diskGoes();
   verdicts.forgetAbsent();
   diskIs();
   useIs(1, 2);
   allIsRead();
   for (unsigned id = 1; id <= 26; ++id)
      smart().unknownAttrIs(row(id, "Some_Row", 100, id));
   std::size_t const series = seriesWith("serial=\"KS0001\"");
   EXPECT_GE(series, 26U * 4 + 10);
   EXPECT_LE(series, 150U) << text();
}

}  // namespace
}  // namespace Agent
