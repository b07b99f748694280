// The control keys of the kinds' databases.

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "config/DatabaseConfig.h"
#include "unit/config/DatabaseFilesTest.h"

namespace datacollector {
namespace {

constexpr const char* kFile = "DatabaseConfig.cpp";

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
