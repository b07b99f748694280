// Keys that are missing: the daemon names each one, in the words of its file, and runs without it.
#include <gtest/gtest.h>

#include <string>

#include "gateway/harness/Gateway.h"

namespace datacollector::gateway {
namespace {

class ConfigurationTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.LoopInterval(20);
    WanDown();
  }
};

TEST_F(ConfigurationTest, AMissingMeterIsNamedWithoutItsFile) {
  config.Remove("RS485DeviceConfig.cfg", "MeterID_2");
  Start();
  EXPECT_EQ(Out().Count("No 'MeterID_2' setting in configuration file\n"), 4U);
  Store(RS485);
}

TEST_F(ConfigurationTest, AMissingNumberOfRegistersHasWordsOfItsOwn) {
  config.Remove(kSiteFile, "MaxNumberofRegisters");
  Start();
  EXPECT_EQ(Out().Count("Fail to read parameter 'MaxNumberofRegisters'\n"), 1U);
  Store(AIO);
}

TEST_F(ConfigurationTest, AMissingColumnKeyOfSnmpIsNamedWithItsKind) {
  config.Remove(FactsOf(SNMP).controlFile, "SNMPDeviceName");
  Start();
  EXPECT_EQ(Out().Count("SNMP No 'SNMPDeviceName' setting in /root/DataCollectorAppComponent/etc/Config/"
                        "SNMPPerDatabaseCtrlConfig.cfg file\n"),
            1U);
  Store(SNMP);
}

TEST_F(ConfigurationTest, ARecordThatIsNotStoredIsReportedInTheWordsOfItsKind) {
  for (const SourceKind kind : kAllKinds) {
    config.Set(kind == TEMPERATURE ? FactsOf(DIO).controlFile : FactsOf(kind).controlFile,
               std::string(FactsOf(kind).keyPrefix) + "MaxDatabaseAccessRetry", 1);
  }
  Start();
  for (const SourceKind kind : kAllKinds) {
    const Transcript::Mark before = Out().End();
    std::string payload = PayloadOf(kind);
    Deliver(FactsOf(kind).recordTopic, payload.replace(payload.rfind("\">\""), 3, "random()"));
    EXPECT_EQ(Out().Count(FactsOf(kind).notStored, before), 1U) << FactsOf(kind).name;
    EXPECT_TRUE(RowsOf(kind).empty());
  }
}

}  // namespace
}  // namespace datacollector::gateway
