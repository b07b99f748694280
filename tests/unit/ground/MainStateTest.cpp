#include <gtest/gtest.h>

#include <cstddef>
#include <memory>

#include "ground/MainState.h"

namespace datacollector {
namespace {

class MainState : public ::testing::Test {
 protected:
  MainState() { ZeroMainState(*main_); }

  // The enable flag (publish interval) of a kind; for a meter kind that of a line.
  std::int32_t& EnableOf(SourceKind kind, std::size_t line = 0) {
    switch (kind) {
      case RS485:
        return sources_.i32_DataSourcesRS485EnableFlags[line][0];
      case RS232:
        return sources_.i32_DataSourcesRS232EnableFlags[line][0];
      case SNMP:
        return sources_.i32_DataSourcesSNMPEnableFlags[line][0];
      default:
        return sources_.i32_DataSourcesEnableFlags[kind][0];
    }
  }

  std::unique_ptr<DataCollectorMainStructure> main_ = std::make_unique<DataCollectorMainStructure>();
  DataCollectorSourcesConfig& sources_ = main_->DataCollectorSourcesConfig;
};

TEST_F(MainState, StartsWithTheSourceCountsTheLanSwitchAndTheMetersPerLine) {
  using Sources = struct DataCollectorSourcesConfig;
  static_assert(offsetof(DataCollectorMainStructure, DataCollectorSourcesConfig) == 0);
  static_assert(offsetof(Sources, i32_No_Of_Sources) == 0);
  static_assert(offsetof(Sources, i32_No_Of_RS485Sources) == 4);
  static_assert(offsetof(Sources, i32_No_Of_RS232Sources) == 8);
  static_assert(offsetof(Sources, i32_No_Of_SNMPSources) == 12);
  static_assert(offsetof(Sources, DataBases) == 16);
  static_assert(offsetof(Sources, i32_EnableLanMqtt) == 20);
  static_assert(offsetof(Sources, i32_NoOfEMetersInLine) == 24);
  static_assert(offsetof(Sources, i32_NoOfRS232EMetersInLine) == 424);
  static_assert(offsetof(Sources, i32_NoOfSNMPDevicesInLine) == 428);
  static_assert(offsetof(Sources, MeterID) == 432);
  EXPECT_EQ(static_cast<void*>(main_.get()), static_cast<void*>(&sources_.i32_No_Of_Sources));
}

TEST_F(MainState, ZeroingEmptiesTheWholeRecord) {
  sources_.i32_No_Of_Sources = 3;
  main_->SoftwareVer = "1.0";
  main_->DataCollectorDBData.i8_DCDBRecord[SNMP].Assign("text");
  main_->i32_AlarmFlag[SNMP] = 1;
  ZeroMainState(*main_);
  EXPECT_EQ(sources_.i32_No_Of_Sources, 0);
  EXPECT_EQ(main_->SoftwareVer, nullptr);
  EXPECT_TRUE(main_->DataCollectorDBData.i8_DCDBRecord[SNMP].empty());
  EXPECT_EQ(main_->i32_AlarmFlag[SNMP], 0);
}

TEST_F(MainState, AKindIsEnabledByTheFlagValueOneAlone) {
  for (const SourceKind kind : kAllKinds) {
    EXPECT_FALSE(IsSourceEnabled(sources_, kind)) << kind;
    EnableOf(kind) = 1;
    EXPECT_TRUE(IsSourceEnabled(sources_, kind)) << kind;
    for (const std::int32_t other : {2, -1}) {
      EnableOf(kind) = other;
      EXPECT_FALSE(IsSourceEnabled(sources_, kind)) << kind << " with " << other;
    }
    EnableOf(kind) = 0;
  }
}

TEST_F(MainState, AKindsFlagEnablesNoOtherKind) {
  for (const SourceKind kind : kAllKinds) {
    EnableOf(kind) = 1;
    for (const SourceKind other : kAllKinds) {
      EXPECT_EQ(IsSourceEnabled(sources_, other), other == kind) << kind << " " << other;
    }
    EnableOf(kind) = 0;
  }
}

TEST_F(MainState, Rs485IsEnabledByAnyOfItsFirstFourLines) {
  for (std::size_t line = 0; line < 4; ++line) {
    EnableOf(RS485, line) = 1;
    EXPECT_TRUE(IsSourceEnabled(sources_, RS485)) << line;
    EnableOf(RS485, line) = 0;
  }
}

TEST_F(MainState, TheFifthRs485LineEnablesNothing) {
  EnableOf(RS485, 4) = 1;
  EXPECT_FALSE(IsSourceEnabled(sources_, RS485));
  EXPECT_TRUE(IsLineEnabled(sources_, RS485, 4));
}

TEST_F(MainState, ALineIsEnabledByItsOwnFlag) {
  EnableOf(RS485, 2) = 1;
  EXPECT_FALSE(IsLineEnabled(sources_, RS485, 1));
  EXPECT_TRUE(IsLineEnabled(sources_, RS485, 2));
}

TEST_F(MainState, ALineOutsideTheTablesIsNotEnabledAndHasNoMeters) {
  sources_.i32_NoOfSNMPDevicesInLine[0] = 8;
  sources_.MeterID[0] = 9;
  EnableOf(RS232) = 1;
  EnableOf(SNMP) = 1;
  EXPECT_FALSE(IsLineEnabled(sources_, RS485, 10));
  EXPECT_FALSE(IsLineEnabled(sources_, RS232, 1));
  EXPECT_FALSE(IsLineEnabled(sources_, SNMP, 1));
  EXPECT_EQ(MetersInLine(sources_, RS485, 100), 0);
  EXPECT_EQ(MetersInLine(sources_, RS232, 1), 0);
  EXPECT_EQ(MetersInLine(sources_, SNMP, 1), 0);
  EXPECT_EQ(PublishInterval(sources_, RS232, 1), 0);
}

TEST_F(MainState, TheMetersOfALineAreThoseOfItsKind) {
  sources_.i32_NoOfEMetersInLine[0] = 11;
  sources_.i32_NoOfEMetersInLine[99] = 12;
  sources_.i32_NoOfRS232EMetersInLine[0] = 13;
  sources_.i32_NoOfSNMPDevicesInLine[0] = 14;
  EXPECT_EQ(MetersInLine(sources_, RS485, 0), 11);
  EXPECT_EQ(MetersInLine(sources_, RS485, 99), 12);
  EXPECT_EQ(MetersInLine(sources_, RS232, 0), 13);
  EXPECT_EQ(MetersInLine(sources_, SNMP, 0), 14);
}

TEST_F(MainState, ThePublishIntervalIsThatOfTheKindOrItsLine) {
  sources_.i32_DataSourcesPublishInterval[AIO][0] = 1;
  sources_.i32_DataSourcesPublishInterval[DIO][0] = 2;
  sources_.i32_DataSourcesPublishInterval[TEMPERATURE][0] = 3;
  sources_.i32_DataSourcesRS485PublishInterval[0][0] = 4;
  sources_.i32_DataSourcesRS485PublishInterval[1][0] = 5;
  sources_.i32_DataSourcesRS232PublishInterval[0][0] = 6;
  sources_.i32_DataSourcesSNMPPublishInterval[0][0] = 7;
  EXPECT_EQ(PublishInterval(sources_, AIO), 1);
  EXPECT_EQ(PublishInterval(sources_, DIO), 2);
  EXPECT_EQ(PublishInterval(sources_, TEMPERATURE), 3);
  EXPECT_EQ(PublishInterval(sources_, RS485), 4);
  EXPECT_EQ(PublishInterval(sources_, RS485, 1), 5);
  EXPECT_EQ(PublishInterval(sources_, RS232), 6);
  EXPECT_EQ(PublishInterval(sources_, SNMP), 7);
}

TEST_F(MainState, ATextThatIsNotConfiguredIsEmpty) {
  EXPECT_STREQ(TextOrEmpty(nullptr), "");
  EXPECT_STREQ(TextOrEmpty("text"), "text");
}

TEST_F(MainState, TheMeterKindsAreRs485Rs232AndSnmp) {
  for (const SourceKind kind : kAllKinds) {
    EXPECT_EQ(IsMeterKind(kind), kind == RS485 || kind == RS232 || kind == SNMP) << kind;
  }
}

}  // namespace
}  // namespace datacollector
