// The record text and the column list: fields, switches, limits.

#include <array>
#include <cstdlib>
#include <ctime>
#include <string>

#include "store/DatabaseWriteProtocol.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

using Packer = void (*)(DataCollectorMainStructure&, RecordText&, const RecordOrigin&);
constexpr std::array<Packer, kSourceKinds> kPackers = {PackAIDBWriteRecord,          PackDIODBWriteRecord,
                                                       PackTemperatureDBWriteRecord, PackRS485DBWriteRecord,
                                                       PackRS232DBWriteRecord,       PackSNMPDBWriteRecord};
constexpr std::array<const char*, kSourceKinds> kPackerNames = {
    "PackAIDBWriteRecord",    "PackDIODBWriteRecord",   "PackTemperatureDBWriteRecord",
    "PackRS485DBWriteRecord", "PackRS232DBWriteRecord", "PackSNMPDBWriteRecord"};

using ColumnPacker = void (*)(const DataCollectorMainStructure&, ColumnListText&);
constexpr std::array<ColumnPacker, kSourceKinds> kColumnPackers = {
    PackAIDBColumnNames,    PackDIODBColumnNames,   PackTemperatureDBColumnNames,
    PackRS485DBColumnNames, PackRS232DBColumnNames, PackSNMPDBColumnNames};
constexpr std::array<const char*, kSourceKinds> kColumnPackerNames = {
    "PackAIDBColumnNames",    "PackDIODBColumnNames",   "PackTemperatureDBColumnNames",
    "PackRS485DBColumnNames", "PackRS232DBColumnNames", "PackSNMPDBColumnNames"};

// Kinds whose packing replaces the stored read time by the current one.
bool Refreshes(SourceKind kind) { return kind == DIO || kind == RS485 || kind == RS232; }

class PackingTest : public KindTest {
 protected:
  PackingTest() {
    Number(kind_) = 12;
    origin_.meter = kind_ == SNMP ? 1 : 0;
    origin_.requestId = 7;
    origin_.siteId = "SOURCE-SITE";
    origin_.deviceId = "SOURCE-DEVICE";
  }

  Outcome Pack() {
    return Observe(
        [&] {
          kPackers[kind_](Main(), text_, origin_);
          return 0;
        },
        {kPackerNames[kind_]});
  }

  // The record text of the kind with the fields that can be dropped and the record type as given.
  std::string Expected(bool site = true, bool device = true, int type = 0, bool data = true) {
    const bool source = kind_ == RS232 || kind_ == SNMP;
    std::string text = "\"<\",";
    text += kind_ == RS485 ? "\"0\"," : "";
    text += site ? (source ? "\"SOURCE-SITE\"," : "\"SITE01\",") : "";
    text += device ? (source ? "\"SOURCE-DEVICE\"," : "\"GW0001\",") : "";
    text += std::to_string(type) + ",7,\"ORU2_1.0.0\",99,12,";
    text += data ? ExampleData(kind_) + "," : "";
    return text + "\"" + Main().DataCollectorDBData.i8_ReadTimeStamp[kind_].c_str() + R"(",">")";
  }

  std::string Text() const { return text_.c_str(); }

  RecordOrigin origin_;
  RecordText text_{};
};

TEST_P(PackingTest, PutsAllFieldsInOrder) {
  const Outcome outcome = Pack();
  EXPECT_EQ(Text(), Expected());
  EXPECT_STREQ(Main().DataCollectorDBData.i8_DCDBRecord[kind_].c_str(), text_.c_str());
  EXPECT_EQ(outcome.out,
            Traced("DatabaseWriteProtocol.cpp", kPackerNames[kind_],
                   (Refreshes(kind_) ? "<GetTimeStamp>\n" : "") + std::string("i8_DatabaseBuf ") +
                       kKindWord[kind_] + ": |" + Text() + "|\n"));
  EXPECT_EQ(outcome.err + outcome.log, "");
}

TEST_P(PackingTest, ASwitchedOffSiteIdDisappearsExceptForAioAndSnmp) {
  Main().PackingIdentity.gi32_SiteIDEnable = 0;
  Pack();
  EXPECT_EQ(Text(), Expected(kind_ == AIO || kind_ == SNMP, true));
}

TEST_P(PackingTest, ASwitchedOffDeviceIdDisappearsForTheSerialMetersOnly) {
  Main().PackingIdentity.gi32_DeviceIDEnable = 0;
  Pack();
  EXPECT_EQ(Text(), Expected(true, kind_ != RS485 && kind_ != RS232));
}

TEST_P(PackingTest, OnlyOneSwitchesAFieldOn) {
  Main().PackingIdentity.gi32_SiteIDEnable = 2;
  Main().PackingIdentity.gi32_DeviceIDEnable = -1;
  Pack();
  EXPECT_EQ(Text(), Expected(kind_ == AIO || kind_ == SNMP, kind_ != RS485 && kind_ != RS232));
}

TEST_P(PackingTest, AnAlarmFlagMarksOneRecordOfItsKind) {
  Main().i32_AlarmFlag.fill(1);
  Pack();
  EXPECT_EQ(Text(), Expected(true, true, 2));
  EXPECT_EQ(Main().i32_AlarmFlag[kind_], 0);
  for (const SourceKind other : kAllKinds) {
    EXPECT_EQ(Main().i32_AlarmFlag[other], other == kind_ ? 0 : 1);
  }
  Pack();
  EXPECT_EQ(Text(), Expected(true, true, 0));
}

TEST_P(PackingTest, OnlyTheAlarmFlagOneMarksARecord) {
  Main().i32_AlarmFlag[kind_] = 2;
  Pack();
  EXPECT_EQ(Text(), Expected(true, true, 0));
  EXPECT_EQ(Main().i32_AlarmFlag[kind_], 2);
}

TEST_P(PackingTest, TheMeterKindsOfAnotherLineLoseTheirData) {
  origin_.line = kind_ == RS485 ? 2 : 1;
  Pack();
  EXPECT_EQ(Text(), Expected(true, true, 0, !IsMeterKind(kind_)));
}

TEST_P(PackingTest, AMeterBehindTheKindsTableHasNoData) {
  for (const std::size_t meter : {std::size_t{101}, static_cast<std::size_t>(-1)}) {
    origin_.meter = meter;
    Pack();
    EXPECT_EQ(Text().find(ExampleData(kind_)) != std::string::npos, !IsMeterKind(kind_));
  }
}

TEST_P(PackingTest, ReadTimesAreStoredOrTakenAtPacking) {
  Pack();
  const std::string stamp = Main().DataCollectorDBData.i8_ReadTimeStamp[kind_].c_str();
  EXPECT_EQ(stamp == kReadTime, !Refreshes(kind_)) << stamp;
  EXPECT_EQ(stamp.size(), 19U);
}

TEST_P(PackingTest, ARefreshedReadTimeIsEpochSecondsWhenConfigured) {
  Main().ui16_DCDBReadTimeStampInSecSinceEpoch = 1;
  const std::time_t before = std::time(nullptr);
  Pack();
  const std::string stamp = Main().DataCollectorDBData.i8_ReadTimeStamp[kind_].c_str();
  if (Refreshes(kind_)) {
    EXPECT_GE(std::stoll(stamp), before);
    EXPECT_LE(std::stoll(stamp), std::time(nullptr));
    EXPECT_EQ(stamp.find('-'), std::string::npos);
  } else {
    EXPECT_EQ(stamp, kReadTime);
  }
  EXPECT_EQ(Text(), Expected());
}

TEST_P(PackingTest, TheRequestIdIsThatOfTheCallerOrTheParsedOne) {
  origin_.requestId = 11;
  Main().i32_ParsedReqId = {21, 22, 23};
  Pack();
  const int expected = kind_ == DIO ? 22 : kind_ == TEMPERATURE ? 23 : 11;
  EXPECT_NE(Text().find(",0," + std::to_string(expected) + ",\"ORU2_1.0.0\","), std::string::npos) << Text();
}

TEST_P(PackingTest, VersionsThatAreNotConfiguredAreEmpty) {
  const char* software = std::exchange(Main().SoftwareVer, nullptr);
  const char* oru = std::exchange(Main().OruVer, nullptr);
  Pack();
  EXPECT_NE(Text().find(",\"_\",99,"), std::string::npos) << Text();
  Main().SoftwareVer = software;
  Main().OruVer = oru;
}

TEST_P(PackingTest, AFieldIsCutTo511Characters) {
  Main().PackingIdentity.gi8_OverallRecordStartMark.Assign(std::string(511, 's'));
  const Outcome outcome = Pack();
  EXPECT_TRUE(Text().starts_with("\"" + std::string(510, 's') + (kind_ == RS485 ? "\"0\"" : "\"")));
  EXPECT_EQ(outcome.err,
            "A field of the " + std::string(kKindWord[kind_]) + " record is cut to 511 characters\n");
}

TEST_P(PackingTest, RecordDataIsNotCutLikeAField) {
  const std::string data = "\"" + std::string(1900, 'd') + "\"";
  Receive(kind_, data);
  const Outcome outcome = Pack();
  EXPECT_NE(Text().find(",12," + data + ","), std::string::npos);
  EXPECT_EQ(outcome.err, "");
}

TEST_P(PackingTest, ARecordThatDoesNotFitIsCutAndReported) {
  Receive(kind_, std::string(2999, 'd'));
  for (auto* text :
       {&Main().PackingIdentity.gi8_OverallRecordStartMark, &Main().PackingIdentity.gi8_SiteID,
        &Main().PackingIdentity.gi8_DeviceID, &Main().PackingIdentity.gi8_OverallRecordEndMark}) {
    text->Assign(std::string(500, 'x'));
  }
  const std::string identity(500, 'y');
  origin_.siteId = origin_.deviceId = identity.c_str();
  const Outcome outcome = Pack();
  EXPECT_EQ(outcome.err, "The " + std::string(kKindWord[kind_]) + " record is cut to 4000 characters\n");
  EXPECT_EQ(Text().size(), 4000U);
}

TEST_P(PackingTest, ListsTheConfiguredColumns) {
  DatabaseConfig& config = Config(kind_);
  config.ui16_NoOfColumns = 3;
  config.i8_ColumnNames[0].Assign("One");
  config.i8_ColumnNames[1].Assign("Two");
  config.i8_ColumnNames[2].Assign("Three");
  ColumnListText columns{};
  const Outcome outcome = Observe(
      [&] {
        kColumnPackers[kind_](Main(), columns);
        return 0;
      },
      {kColumnPackerNames[kind_]});
  EXPECT_STREQ(columns.c_str(), "One,Two,Three");
  EXPECT_EQ(outcome.out,
            Traced("DatabaseWriteProtocol.cpp", kColumnPackerNames[kind_],
                   std::string("Concatenated Column String ") + kKindWord[kind_] + " = One,Two,Three\n"));
  EXPECT_EQ(outcome.err + outcome.log, "");
}

TEST_P(PackingTest, AColumnListThatDoesNotFitIsCutAndReported) {
  DatabaseConfig& config = Config(kind_);
  config.ui16_NoOfColumns = 300;
  for (auto& name : config.i8_ColumnNames) {
    name.Assign(std::string(500, 'c'));
  }
  ColumnListText columns{};
  const Outcome outcome = Observe([&] {
    kColumnPackers[kind_](Main(), columns);
    return 0;
  });
  EXPECT_EQ(columns.view().size(), 2500U);
  EXPECT_EQ(outcome.err, "The " + std::string(kKindWord[kind_]) + " column list is cut to 2500 characters\n");
}

INSTANTIATE_TEST_SUITE_P(Kinds, PackingTest, ::testing::ValuesIn(kAllKinds), KindName);

class StoredSlotTest : public StoreTest {};

TEST_F(StoredSlotTest, Rs485TakesLinesOneAndTwoAndCountsMetersFromZero) {
  auto& slots = Main().DataCollectorDBData.i8_MeterRecord;
  slots.At(RS485, 99, RS485Line1).Assign("11");
  slots.At(RS485, 0, RS485Line2).Assign("22");
  RecordText text{};
  Silently([&] {
    PackRS485DBWriteRecord(Main(), text, {.line = RS485Line1, .meter = 99});
    return 0;
  });
  EXPECT_TRUE(text.view().starts_with("\"<\",\"99\",\"SITE01\",\"GW0001\",0,0,\"ORU2_1.0.0\",99,0,11,\""));
  Silently([&] {
    PackRS485DBWriteRecord(Main(), text, {.line = RS485Line2, .meter = 0});
    return 0;
  });
  EXPECT_TRUE(text.view().starts_with("\"<\",\"0\",\"SITE01\",\"GW0001\",0,0,\"ORU2_1.0.0\",99,0,22,\""));
}

TEST_F(StoredSlotTest, SnmpCountsDevicesFromOneUnlikeTheMeters) {
  Main().DataCollectorDBData.i8_MeterRecord.At(SNMP, 9).Assign("10");
  Main().DataCollectorDBData.i8_MeterRecord.At(RS232, 9).Assign("9");
  RecordText text{};
  Silently([&] {
    PackSNMPDBWriteRecord(Main(), text, {.meter = 10, .siteId = "S", .deviceId = "D"});
    return 0;
  });
  EXPECT_TRUE(text.view().starts_with("\"<\",\"S\",\"D\",0,0,\"ORU2_1.0.0\",99,0,10,\""));
  Silently([&] {
    PackRS232DBWriteRecord(Main(), text, {.meter = 9, .siteId = nullptr, .deviceId = nullptr});
    return 0;
  });
  EXPECT_TRUE(text.view().starts_with("\"<\",\"\",\"\",0,0,\"ORU2_1.0.0\",99,0,9,\""));
}

class ConvertTest : public ::testing::Test {
 protected:
  // Runs the conversion; "-" stands for an output that was not touched.
  Outcome Convert(const std::string& text) {
    std::array<char, 64> buffer{};
    text.copy(buffer.data(), buffer.size() - 1);
    std::array<char, 32> out{"-"};
    Outcome outcome =
        Observe([&] { return ConvertHtimeToSecSinceEpoch(buffer.data(), out.data(), out.size()); },
                {"ConvertHtimeToSecSinceEpoch"});
    seconds_ = out.data();
    text_ = buffer.data();
    return outcome;
  }

  std::string seconds_;
  std::string text_;
};

TEST_F(ConvertTest, ALocalTimeBecomesSecondsSinceTheEpoch) {
  std::tm local{};
  local.tm_year = 126;
  local.tm_mon = 10;
  local.tm_mday = 20;
  local.tm_hour = 10;
  local.tm_sec = 5;
  local.tm_isdst = -1;
  const Outcome outcome = Convert("\"2026-11-20 10:00:05\"");
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(seconds_, std::to_string(std::mktime(&local)));
  EXPECT_EQ(text_, kReadTime);
  EXPECT_EQ(outcome.out, Traced("DatabaseWriteProtocol.cpp", "ConvertHtimeToSecSinceEpoch",
                                "crosscheck time after conversion: 2026-11-20 10:00:05\n"));
}

TEST_F(ConvertTest, ATimeBeyond32BitsOfSecondsIsATime) {
  EXPECT_EQ(Convert("\"2040-01-01 12:00:00\"").result, 0);
  EXPECT_NEAR(std::stod(seconds_), 2209032000.0, 86400.0);  // whatever the time zone
}

TEST_F(ConvertTest, AYearOfAnySizeDoesNoHarm) {
  EXPECT_EQ(Convert("99999999999999999999-11-20 10:00:05").result, 0);
  EXPECT_NEAR(std::stod(seconds_), 3.2e16, 1e15);
}

TEST_F(ConvertTest, AMissingPieceIsAFailure) {
  for (const char* text :
       {"", "2026", "2026-11-20", "2026-11-20 10:00", "2026-11-20 10:00:", "-11-20 10:00:05"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(Convert(text).result, -1);
    EXPECT_EQ(seconds_, "-");
  }
}

TEST_F(ConvertTest, EveryQuoteIsTakenOut) {
  EXPECT_EQ(Convert("\"2026-\"11\"-20 10:00:05\"\"").result, 0);
  EXPECT_EQ(text_, kReadTime);
}

}  // namespace
}  // namespace datacollector
