// While the databases belong to somebody else, records are stored, but none is sent and no confirmation
// taken.
#include <gtest/gtest.h>

#include "gateway/harness/Gateway.h"

namespace datacollector::gateway {
namespace {

class CustomerAccessTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.LoopInterval(20).Set(kGenericFile, "CustomerDataBaseReadWriteUpdateEnable", 1);
  }
};

TEST_F(CustomerAccessTest, RecordsAreStoredAndNoneIsSent) {
  Start();
  for (const SourceKind kind : kAllKinds) {
    Store(kind);
  }
  WaitForForwardingRounds(3);
  for (const SourceKind kind : kAllKinds) {
    EXPECT_EQ(RowsOf(kind).size(), 1U) << FactsOf(kind).name;
    EXPECT_TRUE(httpSendApp->Packets(kind).empty()) << FactsOf(kind).name;
  }
  EXPECT_EQ(Out().Count("############################## Publishing"), 0U);
  EXPECT_EQ(Out().Count("gui8_SendFirstCDBRecord"), 0U);
}

TEST_F(CustomerAccessTest, AMessageEndsWithoutThePublishTime) {
  Start();
  for (const SourceKind kind : {AIO, DIO, TEMPERATURE}) {
    Store(kind);
  }
  OpenSendGate();
  EXPECT_EQ(Out().Count("Publish Time Stamp Start: "), 0U);
}

TEST_F(CustomerAccessTest, ConfirmationsAreIgnored) {
  Start();
  for (const SourceKind kind : kAllKinds) {
    Store(kind);
    Deliver(FactsOf(kind).statusTopic,
            "x," + RowsOf(kind).front().at("RecordReadTime") + ",1,1," + kDeliveryTime);
    EXPECT_EQ(ColumnOf(kind, "TxStatus"), std::vector<std::string>{"0"}) << FactsOf(kind).name;
  }
  EXPECT_EQ(Out().Count("received from HTTP Send App"), 0U);
}

TEST_F(CustomerAccessTest, RecordsStoredMeanwhileGoOutAfterwards) {
  Start();
  StoreFrom(AIO, 1, 2);
  Terminate();
  config.Set(kGenericFile, "CustomerDataBaseReadWriteUpdateEnable", 0);
  Start();
  OpenSendGate();
  WaitUntilUpdated(AIO, 2);
}

}  // namespace
}  // namespace datacollector::gateway
