// Meter records that have no place: a meter index outside the kind's table, a line that is not stored.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "gateway/harness/Gateway.h"

namespace datacollector::gateway {
namespace {

class MeterIndexTest : public EachKind {
 protected:
  void SetUp() override {
    EachKind::SetUp();
    config.Only({GetParam()}).LoopInterval(20);
  }

  // The example record with another first field.
  static std::string WithIndex(const std::string& index) {
    const std::string payload = PayloadOf(GetParam());
    return index + payload.substr(payload.find(','));
  }

  static std::ptrdiff_t Refusals() {
    const std::vector<std::string> messages = LogFile::Messages();
    return std::count_if(messages.begin(), messages.end(), [](const std::string& message) {
      return message.find(" record refused: ") != std::string::npos;
    });
  }

  static std::string Last() { return GetParam() == RS485 ? "100" : "10"; }
  static std::string OnePastLast() { return GetParam() == RS485 ? "101" : "11"; }
};

TEST_P(MeterIndexTest, AnIndexOutsideTheTableStoresNothingAndIsReported) {
  Start();
  for (const std::string& index :
       {std::string("0"), std::string(""), std::string("-1"), std::string("meter"), OnePastLast(),
        std::string("65537"), std::string("4294967297"), std::string("99999999999999999999")}) {
    const Transcript::Mark errors = Err().End();
    const auto logged = Refusals();
    Deliver(FactsOf(GetParam()).recordTopic, WithIndex(index));
    EXPECT_TRUE(Err().WaitFor("\n", errors)) << index;
    EXPECT_EQ(Refusals(), logged + 1) << index;
  }
  EXPECT_TRUE(Err().WaitFor(" record lost: meter index ")) << Err().All();
  EXPECT_TRUE(RowsOf(GetParam()).empty());
  Store(GetParam());
  WaitUntilUpdated(GetParam(), 1);
}

TEST_P(MeterIndexTest, ARecordWithoutAnyFieldsIsRefused) {
  Start();
  for (const std::string& payload :
       {std::string("\"GW0001\""), std::string(","), std::string("1"), std::string()}) {
    Deliver(FactsOf(GetParam()).recordTopic, payload);
  }
  EXPECT_TRUE(RowsOf(GetParam()).empty());
  Store(GetParam());
}

TEST_P(MeterIndexTest, TheLastIndexOfTheTableIsStored) {
  Start();
  Deliver(FactsOf(GetParam()).recordTopic, WithIndex(Last()));
  EXPECT_EQ(RowsOf(GetParam()).size(), 1U);
}

TEST_P(MeterIndexTest, TheSendGateOpensAgainBehindARefusedRecord) {
  // Nothing but the branch itself opens the gate while the databases belong to somebody else.
  config.Set(kGenericFile, "CustomerDataBaseReadWriteUpdateEnable", 1);
  Start();
  Deliver(FactsOf(GetParam()).recordTopic, PayloadOf(GetParam()));
  Deliver(FactsOf(GetParam()).recordTopic, WithIndex("0"));
  WaitForForwardingRounds(1);
}

TEST_P(MeterIndexTest, ALineThatIsNotStoredStoresNothingAndOpensTheGate) {
  config.Set(kGenericFile, "CustomerDataBaseReadWriteUpdateEnable", 1);
  Start();
  std::string payload = PayloadOf(GetParam());
  payload.replace(payload.find(",7,1,1,"), 7, ",7,3,1,");
  Deliver(FactsOf(GetParam()).recordTopic, payload);
  EXPECT_TRUE(RowsOf(GetParam()).empty());
  WaitForForwardingRounds(1);
}

INSTANTIATE_TEST_SUITE_P(Kinds, MeterIndexTest, testing::Values(RS485, RS232, SNMP), NameOfKind);

}  // namespace
}  // namespace datacollector::gateway
