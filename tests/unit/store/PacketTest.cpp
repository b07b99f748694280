// The queries for unsent records and the packets made of their rows.

#include <array>
#include <string>
#include <vector>

#include "store/Packet.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

class PacketQueryTest : public StoreTest {
 protected:
  static std::string QueryFor(SourceKind kind) {
    QueryText query{};
    EXPECT_TRUE(BuildUnsentQuery(Params(kind), kind, query));
    return query.c_str();
  }
};

TEST_F(PacketQueryTest, AIO) {
  EXPECT_EQ(
      QueryFor(AIO),
      "SELECT StartMark,SiteID,RecordReadTime,RecordNumber,RequestID,SoftwareVer,AI1,AI2,RecordType,EndMark "
      "FROM AIO_table WHERE TxStatus = 0 ORDER BY rowid ASC limit 1;");
}

TEST_F(PacketQueryTest, DIO) {
  EXPECT_EQ(
      QueryFor(DIO),
      "SELECT StartMark,SiteID,RecordReadTime,RecordNumber,RequestID,SoftwareVer,DI1,DI2,RecordType,EndMark "
      "FROM DIO_table WHERE TxStatus = 0 ORDER BY rowid ASC limit 1;");
}

TEST_F(PacketQueryTest, Temperature) {
  EXPECT_EQ(
      QueryFor(TEMPERATURE),
      "SELECT StartMark,SiteID,RecordReadTime,RecordNumber,RequestID,SoftwareVer,Temperature1,Temperature2,"
      "RecordType,EndMark FROM Temperature_table WHERE TxStatus = 0 ORDER BY rowid ASC limit 1;");
}

TEST_F(PacketQueryTest, RS485) {
  EXPECT_EQ(
      QueryFor(RS485),
      "SELECT "
      "StartMark,SiteID,RecordReadTime,RecordNumber,RequestID,SoftwareVer,InterfaceID,MeterID,MeterIndex,"
      "MeterModel,MeterType,SlaveID,CommIP,MeterResponseCode,StartingRegisterAddress,FunctionCode,REG1,REG2,"
      "REG3,"
      "RecordType,EndMark FROM EnergyMeter_RS485_table WHERE TxStatus = 0 ORDER BY rowid ASC limit 1;");
}

TEST_F(PacketQueryTest, RS232) {
  EXPECT_EQ(
      QueryFor(RS232),
      "SELECT "
      "StartMark,SiteID,RecordReadTime,RecordNumber,RequestID,SoftwareVer,InterfaceID,MeterID,MeterModel,"
      "MeterType,SlaveID,MeterResponseCode,StartingRegisterAddress,FunctionCode,RegisterCount,REG1,REG2,REG3,"
      "EndMark FROM RS232_table WHERE TxStatus = 0 ORDER BY rowid ASC limit 1;");
}

TEST_F(PacketQueryTest, SNMP) {
  EXPECT_EQ(
      QueryFor(SNMP),
      "SELECT StartMark,SiteID,RecordReadTime,RecordNumber,RequestID,SoftwareVer,InterfaceID,SnmpDeviceID,"
      "DeviceName,DeviceType,DeviceIPAddress,DevicePortNumber,DeviceResponseCode,RecordType,DataStartMark,"
      "SNMPData,"
      "EndMark FROM SNMP_table WHERE TxStatus = 0 ORDER BY rowid ASC limit 1;");
}

TEST_F(PacketQueryTest, TheNotSentValueIsTheConfiguredOne) {
  Params(SNMP).ui16_TxStatus = 65535;
  EXPECT_NE(QueryFor(SNMP).find(" WHERE TxStatus = 65535 ORDER"), std::string::npos);
}

TEST_F(PacketQueryTest, AllSixDigitalColumnsCanBeValues) {
  const std::array<const char*, 6> names = {"DI1", "DI2", "DI3", "DI4", "DO1", "DO2"};
  for (std::size_t column = 0; column < names.size(); ++column) {
    Params(DIO).i8_ValueColumns[column].Assign(names[column]);
  }
  EXPECT_NE(QueryFor(DIO).find("SoftwareVer,DI1,DI2,DI3,DI4,DO1,DO2,RecordType"), std::string::npos);
  Params(DIO).i8_ValueColumns[0].Clear();
  Params(DIO).i8_ValueColumns[4].Clear();
  EXPECT_NE(QueryFor(DIO).find("SoftwareVer,DI2,DI3,DI4,DO2,RecordType"), std::string::npos);
}

// SQLite refuses the query, and nobody confirms records whose readings were left behind.
TEST_F(PacketQueryTest, WithoutValueColumnsTheirPlaceStaysEmpty) {
  for (const SourceKind kind : {AIO, DIO, TEMPERATURE}) {
    for (auto& column : Params(kind).i8_ValueColumns) {
      column.Clear();
    }
    EXPECT_NE(QueryFor(kind).find("SoftwareVer,,RecordType"), std::string::npos) << kind;
  }
}

TEST_F(PacketQueryTest, TimeAndNumberArePlacedByTheirOwnKeys) {
  for (const SourceKind kind : kAllKinds) {
    Params(kind).i8_RecordReadTimeColumn.Assign("ReadAt");
    Params(kind).i8_RecordWriteTimeColumn.Assign("WrittenAt");
    Params(kind).i8_RecordIDColumn.Assign("Id");
    EXPECT_NE(QueryFor(kind).find("StartMark,SiteID,ReadAt,Id,RequestID,SoftwareVer"), std::string::npos)
        << kind;
  }
}

TEST_F(PacketQueryTest, AQueryThatDoesNotFitIsCut) {
  for (auto* column :
       {&Params(RS485).i8_InterfaceId, &Params(RS485).i8_MeterID, &Params(RS485).i8_MeterIndexColumn,
        &Params(RS485).i8_MeterModel, &Params(RS485).i8_MeterType, &Params(RS485).i8_SlaveID,
        &Params(RS485).i8_CommIP, &Params(RS485).i8_ResponseCodeColumn,
        &Params(RS485).i8_StartingRegisterAddress, &Params(RS485).i8_FunctionCodeUsed}) {
    column->Assign(std::string(500, 'c'));
  }
  QueryText query{};
  EXPECT_FALSE(BuildUnsentQuery(Params(RS485), RS485, query));
  EXPECT_EQ(query.view().size(), 5000U);
}

TEST(PacketTest, JoinsTheValuesByCommas) {
  Packet packet;
  const std::array<const char*, 4> values = {"<", "", nullptr, "a,b"};
  ASSERT_TRUE(packet.Take(values.size(), values.data()));
  EXPECT_STREQ(packet.Text(), "<,,,a,b");
  ASSERT_EQ(packet.Count(), 4U);
  EXPECT_EQ(packet.Value(0), "<");
  EXPECT_EQ(packet.Value(1), "");
  EXPECT_EQ(packet.Value(2), "");
  EXPECT_EQ(packet.Value(3), "a,b");
}

TEST(PacketTest, IsEmptyAtFirst) {
  const Packet packet;
  EXPECT_EQ(packet.Count(), 0U);
  EXPECT_STREQ(packet.Text(), "");
}

TEST(PacketTest, HoldsFiftyValuesOfAnyLengthAndNotOneMore) {
  const std::string longValue(4000, 'v');
  const std::vector<const char*> values(51, longValue.c_str());
  Packet packet;
  EXPECT_FALSE(packet.Take(51, values.data()));
  EXPECT_EQ(packet.Count(), 0U);
  ASSERT_TRUE(packet.Take(50, values.data()));
  EXPECT_EQ(std::string(packet.Text()).size(), 50U * 4001 - 1);
  EXPECT_EQ(packet.Value(49), longValue);
}

}  // namespace
}  // namespace datacollector
