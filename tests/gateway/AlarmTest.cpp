// Which records count as alarms: their record type is 2, and that of the next one 0 again.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "gateway/harness/Gateway.h"

namespace datacollector::gateway {
namespace {

class AlarmTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.LoopInterval(20);
    WanDown();
  }
};

using Types = std::vector<std::string>;

Types TypesOf(SourceKind kind) { return ColumnOf(kind, "RecordType"); }

TEST_F(AlarmTest, AnAlarmTopicMarksItsRecordAndNoOther) {
  Start();
  const std::vector<std::pair<SourceKind, std::string>> alarms = {
      {AIO, "IOModule/AIO/Alarm"}, {DIO, "IOModule/DIO/Alarm"}, {RS485, "EnergyMeter/RS485/Alarm"}};
  for (const auto& [kind, topic] : alarms) {
    Deliver(topic, PayloadOf(kind));
    Deliver(FactsOf(kind).recordTopic, PayloadOf(kind));
    EXPECT_EQ(TypesOf(kind), (Types{"2", "0"})) << topic;
  }
  EXPECT_EQ(Out().Count("AIO alarm record received. Setting AIO alarm flag\n"), 1U);
  EXPECT_EQ(Out().Count("DIO alarm record received. Setting DIO alarm flag\n"), 1U);
}

TEST_F(AlarmTest, ATemperatureAlarmIsOneByTheTextOfTheMarkerTopic) {
  config.SubscribeTopic(16, "IOModule/Temperature/Record");
  Start();
  Deliver("IOModule/Temperature/Record", PayloadOf(TEMPERATURE));
  Deliver("IOModule/Temperature/Alarm", PayloadOf(TEMPERATURE));
  EXPECT_EQ(TypesOf(TEMPERATURE), (Types{"2", "0"}));
  EXPECT_EQ(Out().Count("Temperature alarm record received. Setting Temperature alarm flag\n"), 1U);
}

TEST_F(AlarmTest, ATemperatureMarkerTopicWithATextOfItsOwnIsIgnored) {
  config.SubscribeTopic(16, "IOModule/Temperature/Marker");
  Start();
  Deliver("IOModule/Temperature/Marker", PayloadOf(TEMPERATURE));
  Deliver("IOModule/Temperature/Alarm", PayloadOf(TEMPERATURE));
  EXPECT_EQ(TypesOf(TEMPERATURE), Types{"0"});
}

TEST_F(AlarmTest, AnSnmpMarkerTopicWithATextOfItsOwnRunsNoSnmpBranch) {
  Start();
  Deliver("SNMP/Alarm", PayloadOf(SNMP));
  EXPECT_EQ(Out().Count("Out of SNMP Subscription\n"), 0U);
  Deliver("SNMP/Record", PayloadOf(SNMP));
  EXPECT_EQ(TypesOf(SNMP), Types{"0"});
}

TEST_F(AlarmTest, AnSnmpRecordIsAnAlarmWhenBothItsTopicsAreTheSame) {
  config.SubscribeTopic(20, "SNMP/Record");
  Start();
  Deliver("SNMP/Record", PayloadOf(SNMP));
  EXPECT_EQ(TypesOf(SNMP), Types{"2"});
}

TEST_F(AlarmTest, AnAlarmThatReachesNoSlotLeavesTheNextRecordPeriodic) {
  Start();
  std::string noSlot = PayloadOf(RS485);
  noSlot.replace(0, 2, "0,");
  Deliver("EnergyMeter/RS485/Alarm", noSlot);
  Deliver("EnergyMeter/RS485/Record", PayloadOf(RS485));
  EXPECT_EQ(TypesOf(RS485), Types{"0"});
}

// With its folder gone the record fails before its record type is looked at.
TEST_F(AlarmTest, AnAlarmThatFindsNoDatabaseLeavesTheNextRecordPeriodic) {
  config.Only({AIO});
  Start();
  std::filesystem::remove_all(kDatabaseFolder);
  std::ofstream(std::string(kDatabaseFolder).substr(0, std::string(kDatabaseFolder).size() - 1))
      << "no folder";
  Deliver("IOModule/AIO/Alarm", PayloadOf(AIO));
  EXPECT_TRUE(Err().WaitFor("AIO record lost: ")) << Err().All();
  std::filesystem::remove(std::string(kDatabaseFolder).substr(0, std::string(kDatabaseFolder).size() - 1));
  std::filesystem::create_directories(kDatabaseFolder);
  Deliver(FactsOf(AIO).recordTopic, PayloadOf(AIO));
  EXPECT_EQ(TypesOf(AIO), Types{"0"});
}

TEST_F(AlarmTest, AnAlarmOfADisabledKindIsIgnored) {
  config.Only({DIO});
  Start();
  Deliver("IOModule/AIO/Alarm", PayloadOf(AIO));
  EXPECT_TRUE(RowsOf(AIO).empty());
  EXPECT_EQ(Out().Count("AIO alarm record received"), 0U);
}

}  // namespace
}  // namespace datacollector::gateway
