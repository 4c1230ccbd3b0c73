#include "agent/documents/VerdictDocument.h"

#include "tests/support/DocumentText.h"
#include "tests/support/UnitOfRecords.h"

namespace Agent {
namespace {

using Support::documentText;

class VerdictDocumentTest : public Support::UnitOfRecords {
 protected:
   std::string verdictsText() {
      verdicts.evaluate();
      return documentText(verdictsJson(verdicts.disks(), readings));
   }
   std::string figuresText() {
      verdicts.evaluate();
      return documentText(figuresJson(verdicts.disks(), *entities.devices));
   }
   // As the document has it.
   static std::string number(Vorn::Seconds seconds) {
      return documentText(
          wholeJson([seconds](Base::JsonWriter & writer) { writer.Double(seconds.value()); }));
   }
};

TEST_F(VerdictDocumentTest, ShowsReasonsOfAVerdictWithTheirTimesInUtc) {
   diskIs(BusType::nvme);
   allIsRead();
   nvme().percentageUsedIs({"percent_used", 91});
   std::string const since = number(Vorn::System::currentTimeUtc());
   EXPECT_EQ(verdictsText(), R"({"KS0001":{"verdict":"warning","since":)" + since +
                                 R"(,"reasons":[{"code":"life-low","verdict":"warning",)"
                                 R"("text":"9 % of its rated life is left","since":)" +
                                 since + "}]}}");
   time->jumpBy(1000);
   EXPECT_NE(verdictsText().find("\"since\":" + since + ","), std::string::npos);
}

TEST_F(VerdictDocumentTest, ShowsNoReasonsForAVerdictInOrder) {
   diskIs();
   allIsRead();
   std::string const since = number(Vorn::System::currentTimeUtc());
   EXPECT_EQ(verdictsText(), R"({"KS0001":{"verdict":"ok","since":)" + since + R"(,"reasons":[]}})");
}

TEST_F(VerdictDocumentTest, EscapesTerminalControlsInNamesOfAttributes) {
   diskIs();
   StorageDevices::SmartAttr attr;
   attr.id = 7;
   attr.name = "A\x1b[2J\xff";
   attr.thresh = 1;
   smart().unknownAttrIs(attr);
   smart().attrsReadIs(true);
   EXPECT_NE(verdictsText().find(R"(A\u001B[2J\\xff at or below)"), std::string::npos) << verdictsText();
}

TEST_F(VerdictDocumentTest, OmitsUnknownFigures) {
   diskIs(BusType::nvme);
   EXPECT_EQ(figuresText(), R"({"KS0001":{}})");
   nvme().percentageUsedIs({"percent_used", 20});
   nvme().temperatureCelsiusIs({"temperature", 41});
   nvme().powerOnHoursIs({"power_on_hours", 900});
   nvme().dataUnitsWrittenIs({"data_units_written", 1});
   entities.ioStat->ioStatDataIs(serial);
   entities.ioStat->ioStatData(serial)->recordMeasurement(1, 1, 5);
   allIsRead();
   EXPECT_EQ(figuresText(), R"({"KS0001":{"temperature":41.0,"lifeLeft":80.0,"powerOnHours":900.0,)"
                            R"("bytesWritten":512000.0,"bytesWrittenSinceBoot":5.0,"lastRead":)" +
                                number(Vorn::System::currentTimeUtc()) + "}}");
}

TEST_F(VerdictDocumentTest, NamesTheAbsentDiskOfItsFigures) {
   diskIs(BusType::nvme);
   nvme().percentageUsedIs({"percent_used", 20});
   verdicts.evaluate();
   diskGoes();
   std::string const text = figuresText();
   EXPECT_TRUE(text.starts_with(R"({"KS0001":{"lifeLeft":80.0,"disk":{"name":"KS0001",)")) << text;
   EXPECT_NE(text.find(R"("blockDevice":"/dev/sda","mountPoint":"/mnt/drive")"), std::string::npos) << text;
}

TEST_F(VerdictDocumentTest, NamesMissingDisksOfTheUnit) {
   EXPECT_EQ(documentText(unitJson({Verdict::warning, {"/mnt/a", "/mnt/b"}})),
             R"({"verdict":"warning","missing":["/mnt/a","/mnt/b"]})");
   EXPECT_EQ(documentText(unitJson({})), R"({"verdict":"ok","missing":[]})");
}

}  // namespace
}  // namespace Agent
