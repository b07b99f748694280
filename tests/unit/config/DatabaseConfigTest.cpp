#include <gtest/gtest.h>

#include <string>

#include "config/DatabaseConfig.h"
#include "unit/config/DatabaseFilesTest.h"

namespace datacollector {
namespace {

constexpr const char* kFile = "DatabaseConfig.cpp";
constexpr const char* kSuccess = "Returning Success from function ParseContentFromConfig\n";

class DatabaseConfigs : public DatabaseFilesTest {
 protected:
  DatabaseConfigs() : DatabaseFilesTest("Columns") {}

  Reading ReadColumns() { return Read(ReadDataCollectorDBColumnsConfig); }

  std::string Opened(SourceKind kind) const {
    return Traced("NameValueFile.cpp", "ParseContentFromConfig",
                  "Configuration file '" + Path(kind) + "' opened successfully\n");
  }

  const DatabaseConfig& ConfigOf(SourceKind kind) const { return main_->DataCollectorDBConfig[kind]; }
};

TEST_F(DatabaseConfigs, ReadsTheColumnsOfAnIoKind) {
  Enable(AIO);
  WriteFile(AIO,
            "DatabaseName = /db/AIO.db\nTableName = AIO_table\nStartMark = TEXT\nRecordNumber = INTEGER\n");
  const Reading reading = ReadColumns();
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.out, Traced(kFile, "ReadDataCollectorDBColumnsConfig",
                                Opened(AIO) + "number of name value pair = 4\n"
                                              "database_name: DatabaseName, /db/AIO.db\n"
                                              "table_name: TableName, AIO_table\n"));
  EXPECT_EQ(reading.err, kSuccess);
  EXPECT_STREQ(ConfigOf(AIO).i8_DatabaseName.c_str(), "/db/AIO.db");
  EXPECT_STREQ(ConfigOf(AIO).i8_TableName.c_str(), "AIO_table");
  EXPECT_EQ(ConfigOf(AIO).ui16_NoOfColumns, 2);
  EXPECT_STREQ(ConfigOf(AIO).i8_ColumnNames[0].c_str(), "StartMark");
  EXPECT_STREQ(ConfigOf(AIO).i8_ColumnNames[1].c_str(), "RecordNumber");
}

TEST_F(DatabaseConfigs, AMeterKindsTableNameIsAnnouncedWithTheIoKindsValueInItsPlace) {
  Enable(TEMPERATURE);
  Enable(RS485);
  WriteFile(TEMPERATURE, "a = 1\nb = 2\nc = 3\n");
  WriteFile(RS485, "StartMark =\nDatabaseName = /db/RS485.db\nTableName = RS485_table\n");
  const Reading reading = ReadColumns();
  EXPECT_EQ(reading.out, Traced(kFile, "ReadDataCollectorDBColumnsConfig",
                                Opened(TEMPERATURE) + "number of name value pair = 3\n" + Opened(RS485) +
                                    "number of name value pair RS485 = 3\n"
                                    "Data Base i32_Index=1\n"
                                    "DataBase Name RS485 : /db/RS485.db\n"
                                    "database_name: DatabaseName, /db/RS485.db\n"
                                    "Table Name i32_Index=2\n"
                                    "Table Name RS485 : 3\n"
                                    "table_name: TableName, RS485_table\n"));
  EXPECT_STREQ(ConfigOf(RS485).i8_TableName.c_str(), "RS485_table");
}

TEST_F(DatabaseConfigs, TheOtherMeterKindsAnnounceThemselvesByTheirWords) {
  Enable(RS232);
  Enable(SNMP);
  WriteFile(RS232, "DatabaseName = /db/RS232.db\nTableName = RS232_table\n");
  WriteFile(SNMP, "DatabaseName = /db/SNMP.db\nTableName = SNMP_table\n");
  const Reading reading = ReadColumns();
  EXPECT_EQ(reading.out, Traced(kFile, "ReadDataCollectorDBColumnsConfig",
                                Opened(RS232) +
                                    "number of name value pair RS232 = 2\n"
                                    "Data Base i32_Index=0\n"
                                    "DataBase Name RS232 : /db/RS232.db\n"
                                    "database_name: DatabaseName, /db/RS232.db\n"
                                    "Table Name i32_Index=1\n"
                                    "Table Name RS232 : \n"
                                    "table_name: TableName, RS232_table\n" +
                                    Opened(SNMP) +
                                    "number of name value pair SNMP = 2\n"
                                    "Data Base i32_Index=0\n"
                                    "DataBase Name SNMP : /db/SNMP.db\n"
                                    "database_name: DatabaseName, /db/SNMP.db\n"
                                    "Table Name i32_Index=1\n"
                                    "Table Name SNMP : \n"
                                    "table_name: TableName, SNMP_table\n"));
}

TEST_F(DatabaseConfigs, ReadsEveryKindFromItsOwnFile) {
  for (const SourceKind kind : kAllKinds) {
    Enable(kind);
    WriteFile(kind, "DatabaseName = " + std::to_string(kind) + "\nTableName = table" + std::to_string(kind) +
                        "\n" + std::string(kind, '\n') + "Column" + std::to_string(kind) + " =\n");
  }
  ReadColumns();
  for (const SourceKind kind : kAllKinds) {
    EXPECT_EQ(ConfigOf(kind).i8_DatabaseName.view(), std::to_string(kind));
    EXPECT_EQ(ConfigOf(kind).i8_TableName.view(), "table" + std::to_string(kind));
    EXPECT_EQ(ConfigOf(kind).ui16_NoOfColumns, 1);
    EXPECT_EQ(ConfigOf(kind).i8_ColumnNames[0].view(), "Column" + std::to_string(kind));
  }
}

TEST_F(DatabaseConfigs, ADisabledKindHasNoColumnsThoughItsFileExists) {
  for (const SourceKind kind : kAllKinds) {
    WriteFile(kind, "DatabaseName = a\nTableName = b\nc =\n");
  }
  const Reading reading = ReadColumns();
  EXPECT_EQ(reading.out, Traced(kFile, "ReadDataCollectorDBColumnsConfig", ""));
  for (const SourceKind kind : kAllKinds) {
    EXPECT_TRUE(ConfigOf(kind).i8_DatabaseName.empty());
    EXPECT_TRUE(ConfigOf(kind).i8_TableName.empty());
    EXPECT_EQ(ConfigOf(kind).ui16_NoOfColumns, 0);
  }
}

TEST_F(DatabaseConfigs, OnlyTheFlagValueOneEnablesAKind) {
  WriteFile(AIO, "DatabaseName = a\n");
  Enable(AIO, 2);
  ReadColumns();
  EXPECT_TRUE(ConfigOf(AIO).i8_DatabaseName.empty());
}

TEST_F(DatabaseConfigs, AnEnabledKindThatIsNotCountedIsNotRead) {
  Enable(TEMPERATURE);
  Sources().i32_No_Of_Sources = 2;
  WriteFile(TEMPERATURE, "DatabaseName = a\n");
  ReadColumns();
  EXPECT_TRUE(ConfigOf(TEMPERATURE).i8_DatabaseName.empty());
}

TEST_F(DatabaseConfigs, MoreSourcesThanIoKindsReadNoFurtherFile) {
  Enable(AIO);
  Sources().i32_No_Of_Sources = 4;
  Sources().i32_DataSourcesEnableFlags[3][0] = 1;
  WriteFile(RS485, "DatabaseName = a\n");
  ReadColumns();
  EXPECT_TRUE(ConfigOf(RS485).i8_DatabaseName.empty());
}

TEST_F(DatabaseConfigs, EachOfTheFirstThreeRs485LinesHasColumns) {
  WriteFile(RS485, "DatabaseName = a\n");
  for (std::size_t line = 0; line < 3; ++line) {
    EnableLine(RS485, line);
    main_->DataCollectorDBConfig[RS485].i8_DatabaseName.Clear();
    ReadColumns();
    EXPECT_STREQ(ConfigOf(RS485).i8_DatabaseName.c_str(), "a") << line;
    Sources().i32_DataSourcesRS485EnableFlags[line][0] = 0;
  }
}

TEST_F(DatabaseConfigs, TheFourthRs485LineAloneHasNoColumns) {
  WriteFile(RS485, "DatabaseName = a\n");
  EnableLine(RS485, 3);
  ReadColumns();
  EXPECT_TRUE(ConfigOf(RS485).i8_DatabaseName.empty());
}

TEST_F(DatabaseConfigs, TableNameMatchesInAnyCaseAndDatabaseNameInOne) {
  Enable(AIO);
  WriteFile(AIO, "tablename = AIO_table\ndatabasename = a column\n");
  const Reading reading = ReadColumns();
  EXPECT_NE(reading.out.find("table_name: tablename, AIO_table\n"), std::string::npos) << reading.out;
  EXPECT_STREQ(ConfigOf(AIO).i8_TableName.c_str(), "AIO_table");
  EXPECT_TRUE(ConfigOf(AIO).i8_DatabaseName.empty());
  ASSERT_EQ(ConfigOf(AIO).ui16_NoOfColumns, 1);
  EXPECT_STREQ(ConfigOf(AIO).i8_ColumnNames[0].c_str(), "databasename");
}

TEST_F(DatabaseConfigs, AMissingColumnFileGivesNoColumns) {
  Enable(AIO);
  main_->DataCollectorDBConfig[AIO].ui16_NoOfColumns = 3;
  const Reading reading = ReadColumns();
  EXPECT_EQ(reading.result, 0);
  EXPECT_NE(reading.out.find("number of name value pair = -1\n"), std::string::npos) << reading.out;
  EXPECT_EQ(ConfigOf(AIO).ui16_NoOfColumns, 0);
  EXPECT_TRUE(ConfigOf(AIO).i8_DatabaseName.empty());
}

TEST_F(DatabaseConfigs, ALongTableNameIsCutAndReported) {
  Enable(AIO);
  const std::string name(100, 't');
  WriteFile(AIO, "TableName = " + name + "x\n");
  const Reading reading = ReadColumns();
  EXPECT_EQ(ConfigOf(AIO).i8_TableName.view(), name);
  EXPECT_EQ(reading.err, std::string(kSuccess) + "'TableName' in " + Path(AIO) +
                             " file is longer than 100 characters and was cut\n");
}

TEST_F(DatabaseConfigs, TwoHundredColumnsFit) {
  Enable(SNMP);
  std::string text;
  for (int index = 0; index < 201; ++index) {
    text += "column" + std::to_string(index) + " =\n";
  }
  WriteFile(SNMP, text);
  const Reading reading = ReadColumns();
  EXPECT_EQ(ConfigOf(SNMP).ui16_NoOfColumns, 200);
  EXPECT_STREQ(ConfigOf(SNMP).i8_ColumnNames[199].c_str(), "column199");
  EXPECT_NE(reading.err.find("more than 200 entries"), std::string::npos) << reading.err;
}

}  // namespace
}  // namespace datacollector
