#include <gtest/gtest.h>

#include <array>
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

class DatabaseControl : public DatabaseFilesTest {
 protected:
  DatabaseControl() : DatabaseFilesTest("Ctrl") {}

  Reading ReadControl() { return Read(ReadDataCollectorDBCtrlConfig); }

  const DatabaseConfig& ConfigOf(SourceKind kind) const { return main_->DataCollectorDBConfig[kind]; }
};

// The prefix of a kind's control keys.
constexpr std::array<const char*, kSourceKinds> kPrefix = {"AI",          "DI",          "Temperature",
                                                           "EMeterRS485", "EMeterRS232", "SNMP"};

// The four control keys of a kind, with numbers that tell the kinds apart.
std::string ControlText(SourceKind kind) {
  const std::string prefix = kPrefix[kind];
  const auto number = [kind](int base) { return " = " + std::to_string(base + static_cast<int>(kind)); };
  return prefix + "RecordNumber = \"RecordNumber" + std::to_string(kind) + "\";\n" + prefix + "MaxRowsCount" +
         number(1000) + ";\n" + prefix + "DatabaseAccessWaitInterval" + number(10) + ";\n" + prefix +
         "MaxDatabaseAccessRetry" + number(20) + ";\n";
}

// What is printed about them: wait and attempts may come from another file.
std::string ControlEcho(SourceKind kind, const std::string& path, const std::string& accessPath) {
  const std::string prefix = kPrefix[kind];
  const auto number = [&](const std::string& key, int base, const std::string& file) {
    return "value at setting in " + prefix + key + "=" + std::to_string(base + static_cast<int>(kind)) +
           " in " + file + " file\n";
  };
  return "value at setting in " + prefix + "RecordNumber in " + path + " file=RecordNumber" +
         std::to_string(kind) + "\n" + number("MaxRowsCount", 1000, path) +
         number("DatabaseAccessWaitInterval", 10, accessPath) +
         number("MaxDatabaseAccessRetry", 20, accessPath);
}

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

TEST_F(DatabaseControl, ReadsTheFourKeysOfEveryKind) {
  std::string out = "i8_RS485PerDatabaseCtrlConfigFileName : " + Path(RS485) +
                    "\nTemperaturecfg success\nRS232cfg success\nSNMPcfg success\n";
  for (const SourceKind kind : kAllKinds) {
    Enable(kind);
    WriteFile(kind, ControlText(kind) + (kind == DIO ? ControlText(TEMPERATURE) : ""));
    out += ControlEcho(kind, Path(kind), Path(kind == TEMPERATURE ? DIO : kind));
  }
  const Reading reading = ReadControl();
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.err, "");
  EXPECT_EQ(reading.out, Traced(kFile, "ReadDataCollectorDBCtrlConfig", out));
  for (const SourceKind kind : kAllKinds) {
    EXPECT_EQ(ConfigOf(kind).i8_RecordNumber.view(), "RecordNumber" + std::to_string(kind));
    EXPECT_EQ(ConfigOf(kind).ui16_MAXRecords, 1000 + kind);
    EXPECT_EQ(ConfigOf(kind).i32_DatabaseAccessWaitInterval, 10 + static_cast<int>(kind));
    EXPECT_EQ(ConfigOf(kind).ui16_MaxDatabaseAccessRetry, 20 + kind);
  }
}

TEST_F(DatabaseControl, TemperatureWaitAndAttemptsInTheTemperatureFileHaveNoEffect) {
  for (const SourceKind kind : kAllKinds) {
    WriteFile(kind, ControlText(kind));
  }
  Enable(TEMPERATURE);
  const Reading reading = ReadControl();
  EXPECT_EQ(ConfigOf(TEMPERATURE).i32_DatabaseAccessWaitInterval, 0);
  EXPECT_EQ(ConfigOf(TEMPERATURE).ui16_MaxDatabaseAccessRetry, 0);
  EXPECT_EQ(ConfigOf(TEMPERATURE).ui16_MAXRecords, 1002);
  EXPECT_NE(
      reading.out.find("No 'TemperatureDatabaseAccessWaitInterval' setting in " + Path(DIO) +
                       " file\nNo 'TemperatureMaxDatabaseAccessRetry' setting in " + Path(DIO) + " file\n"),
      std::string::npos)
      << reading.out;
}

TEST_F(DatabaseControl, UnreadableFilesAreReportedInTheirOwnWords) {
  Enable(AIO);
  const Reading reading = ReadControl();
  EXPECT_EQ(reading.result, 0);
  const std::string rs485Path = "i8_RS485PerDatabaseCtrlConfigFileName : " + Path(RS485) + "\n";
  const auto missing = [this](const char* key) {
    return std::string("No 'AI") + key + "' setting in " + Path(AIO) + " file\n";
  };
  EXPECT_EQ(reading.out,
            Traced(kFile, "ReadDataCollectorDBCtrlConfig",
                   rs485Path + rs485Path +
                       "Error in reading RS 485 DataBase Ctrl file \n"
                       "Error in reading RS232 DataBase Ctrl file \n"
                       "Error in reading SNMP DataBase Ctrl file \n" +
                       missing("RecordNumber") + missing("MaxRowsCount") +
                       missing("DatabaseAccessWaitInterval") + missing("MaxDatabaseAccessRetry")));
  std::string err;
  for (const SourceKind kind : kAllKinds) {
    err += Path(kind) + ":0 - file I/O error\n";
  }
  EXPECT_EQ(reading.err, err);
}

TEST_F(DatabaseControl, NothingIsTakenFromAFileWithASyntaxError) {
  Enable(AIO);
  WriteFile(AIO, "AIMaxRowsCount = 5;\nAIRecordNumber = ;\n");
  const Reading reading = ReadControl();
  EXPECT_EQ(ConfigOf(AIO).ui16_MAXRecords, 0);
  EXPECT_EQ(reading.err.substr(0, reading.err.find('\n')), Path(AIO) + ":2 - syntax error");
}

TEST_F(DatabaseControl, ADisabledKindIsNotLookedUp) {
  for (const SourceKind kind : kAllKinds) {
    WriteFile(kind, ControlText(kind));
  }
  const Reading reading = ReadControl();
  EXPECT_EQ(reading.out.find("value at setting"), std::string::npos) << reading.out;
  EXPECT_EQ(ConfigOf(RS232).ui16_MAXRecords, 0);
}

TEST_F(DatabaseControl, TheFourthRs485LineAloneHasControlSettings) {
  EnableLine(RS485, 3);
  WriteFile(RS485, ControlText(RS485));
  ReadControl();
  EXPECT_EQ(ConfigOf(RS485).ui16_MAXRecords, 1003);
}

TEST_F(DatabaseControl, TheFifthRs485LineAloneHasNone) {
  EnableLine(RS485, 4);
  WriteFile(RS485, ControlText(RS485));
  ReadControl();
  EXPECT_EQ(ConfigOf(RS485).ui16_MAXRecords, 0);
}

TEST_F(DatabaseControl, NumbersAreNarrowedToTheirFields) {
  Enable(AIO);
  WriteFile(AIO,
            "AIMaxRowsCount = 65537; AIDatabaseAccessWaitInterval = 65537; AIMaxDatabaseAccessRetry = -1;");
  const Reading reading = ReadControl();
  EXPECT_EQ(ConfigOf(AIO).ui16_MAXRecords, 1);
  EXPECT_EQ(ConfigOf(AIO).i32_DatabaseAccessWaitInterval, 65537);
  EXPECT_EQ(ConfigOf(AIO).ui16_MaxDatabaseAccessRetry, 65535);
  EXPECT_NE(reading.out.find("value at setting in AIMaxRowsCount=1 in "), std::string::npos) << reading.out;
}

TEST_F(DatabaseControl, ALongRecordNumberColumnIsCutAndReported) {
  Enable(AIO);
  for (const SourceKind kind : kAllKinds) {
    WriteFile(kind, "");
  }
  const std::string name(500, 'r');
  WriteFile(AIO, "AIRecordNumber = \"" + name + "x\";");
  const Reading reading = ReadControl();
  EXPECT_EQ(ConfigOf(AIO).i8_RecordNumber.view(), name);
  EXPECT_EQ(reading.err,
            "'AIRecordNumber' in " + Path(AIO) + " file is longer than 500 characters and was cut\n");
}

}  // namespace
}  // namespace datacollector
