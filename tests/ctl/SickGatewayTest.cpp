// Ten faults at once: every one is named, and the remedies, followed to the letter, mend the gateway.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "ctl/CtlGateway.h"

namespace datacollector {
namespace {

namespace fs = std::filesystem;

const std::string kTemperatureDatabase = std::string(kDatabases) + "TemperatureDataCollectorDB.db";
const std::string kRs485Database = std::string(kDatabases) + "EMeterRS485DataCollectorDb.db";

// Of a page in the middle, so that the header and the schema stay.
void DamagePage(const std::string& path, int page) {
  const int size = std::stoi(Ask(path, "PRAGMA page_size"));
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(size * (page - 1));
  file << std::string(static_cast<std::size_t>(size), 'x');
}

void FillRs485() {
  Sql(kRs485Database,
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 200) INSERT INTO "
      "EnergyMeter_RS485_table (RecordNumber, TxStatus, RecordReadTime) SELECT i, '0', 'a time of some "
      "length' FROM n");
}

class SickGatewayTest : public CtlTest {
 protected:
  void SetUp() override {
    CtlTest::SetUp();
    MakeDatabase("DIODataCollectorDB.db", "DIO_table", "DIO");
    MakeDatabase("EMeterRS485DataCollectorDb.db", "EnergyMeter_RS485_table", "RS485");
    MakeDatabase("RS232DataCollectorDb.db", "RS232_table", "RS232");
    MakeDatabase("SNMPDataCollectorDb.db", "SNMP_table", "SNMP");
    MakeTemperature();
    FillRs485();
    FillAio(100, 40, 100, 51);
    Edit(Control("AIO"), "AIMaxRowsCount = 1000", "AIMaxRowsCount = 100");
    ASSERT_EQ(Check().text, "Nothing found.\n");
  }

  // As the daemon does at its start.
  static void MakeTemperature() {
    MakeDatabase("TemperatureDataCollectorDB.db", "Temperature_table", "Temperature");
  }

  static void Plant() {
    Edit(Control("DIO"), "DIMaxRowsCount", "DIMaxRowCount");
    Edit(Control("SNMP"), "SNMPMaxReadTry = 3", "SNMPMaxReadTry = \"3\"");
    Edit(Columns("DIO"), "(StartMark = .*\n)(SiteID = .*\n)", "$2$1");
    Edit(Control("AIO"), "AIMaxRowsCount = 100", "AIMaxRowsCount = 1000");
    WriteText(kTemperatureDatabase, "");
    DamagePage(kRs485Database, 12);
    Edit(kTopics, "HTTPSend/DIO/Status", "HTTPSend/DIO/Staus");
    Edit(kSources, "AIODataSourcePerPublishInterval = [0-9]+", "AIODataSourcePerPublishInterval = 0");
    fs::remove(kWan);
    FillDisk(32 * 1024);
  }
};

TEST_F(SickGatewayTest, NamesAllTenFaultsAndTheirRemediesMendIt) {
  Plant();
  const Result sick = Ctl("check");
  EXPECT_EQ(sick.status, 2);
  for (const char* code : {"unknown-key", "wrong-type", "table-differs", "limit-raised", "database-empty",
                           "database-damaged", "topic-odd", "interval-zero", "disk-full", "wan-missing"}) {
    EXPECT_TRUE(sick.Names(std::string("[") + code + "]\n")) << code << "\n" << sick.text;
  }
  const Result status = Ctl("status");
  EXPECT_EQ(status.status, 2);
  EXPECT_TRUE(status.Names("[wan-unknown]") && status.Names("[database-unreadable]")) << status.text;

  FreeDisk();
  Edit(Control("DIO"), "DIMaxRowCount", "DIMaxRowsCount");
  Edit(Control("SNMP"), "SNMPMaxReadTry = \"3\"", "SNMPMaxReadTry = 3");
  Edit(Columns("DIO"), "(SiteID = .*\n)(StartMark = .*\n)", "$2$1");
  EXPECT_TRUE(sick.Names("run datacollectorctl repair <KIND> --renumber --apply"));
  EXPECT_EQ(Ctl("repair AIO --renumber --apply").status, 0);
  fs::remove(kTemperatureDatabase);
  MakeTemperature();
  EXPECT_TRUE(sick.Names("run datacollectorctl repair <KIND> --salvage --apply"));
  EXPECT_EQ(Ctl("repair RS485 --salvage --apply").status, 0);
  Edit(kTopics, "HTTPSend/DIO/Staus", "HTTPSend/DIO/Status");
  Edit(kSources, "AIODataSourcePerPublishInterval = 0", "AIODataSourcePerPublishInterval = 60");
  WriteText(kWan, "1\n");
  EXPECT_EQ(Check().text, "Nothing found.\n");
  EXPECT_FALSE(Ctl("check").Names("wan-missing"));
  EXPECT_FALSE(Ctl("status").Names("database-unreadable"));
}

}  // namespace
}  // namespace datacollector
