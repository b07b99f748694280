#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Kinds.h"
#include "Ledger.h"
#include "Options.h"
#include "SourceApps.h"
#include "ground/KindShape.h"

namespace datacollector::sim {
namespace {

constexpr unsigned long kRun = 1763632800;

struct Sent {
  SourceKind kind;
  std::string topic;
  std::string payload;
};

class SourceAppsTest : public testing::Test {
 protected:
  // A source whose broker takes everything over at once, unless told otherwise.
  SourceApps MakeSources() {
    return {options_, kRun, ledger_, [this](SourceKind kind, const char* topic, const std::string& payload) {
              sent_.push_back({kind, topic, payload});
              if (brokerThere_) {
                ledger_.Published(kind);
              }
            }};
  }

  // For sources with a count; gives up after a thousand records.
  static void RunToTheEnd(SourceApps& sources) {
    for (int i = 0; i < 1000 && !sources.Done(0.0); ++i) {
      sources.Tick(sources.NextDue());
    }
  }

  Options options_;
  Ledger ledger_{false};
  std::vector<Sent> sent_;
  bool brokerThere_ = true;
};

TEST_F(SourceAppsTest, PublishesAtTheRatePerKind) {
  options_.kinds = {AIO};
  options_.rate = 2.0;
  SourceApps sources = MakeSources();
  sources.Start(100.0);
  sources.Tick(100.0);
  EXPECT_EQ(sent_.size(), 1U);
  sources.Tick(100.49);
  EXPECT_EQ(sent_.size(), 1U);
  EXPECT_EQ(sources.NextDue(), 100.5);
  sources.Tick(100.5);
  EXPECT_EQ(sent_.size(), 2U);
}

TEST_F(SourceAppsTest, SpreadsTheKindsOverTheFirstPeriod) {
  options_.kinds = {AIO, DIO};
  SourceApps sources = MakeSources();
  sources.Start(100.0);
  sources.Tick(100.4);
  ASSERT_EQ(sent_.size(), 1U);
  EXPECT_EQ(sent_[0].kind, AIO);
  sources.Tick(100.5);
  ASSERT_EQ(sent_.size(), 2U);
  EXPECT_EQ(sent_[1].kind, DIO);
}

TEST_F(SourceAppsTest, DoesNotCatchUpWithMoreThanASecond) {
  options_.kinds = {AIO};
  options_.rate = 10.0;
  SourceApps sources = MakeSources();
  sources.Start(100.0);
  sources.Tick(160.0);
  EXPECT_LE(sent_.size(), 11U);
}

TEST_F(SourceAppsTest, EndsWithTheCount) {
  options_.kinds = {AIO, SNMP};
  options_.count = 2;
  SourceApps sources = MakeSources();
  sources.Start(0.0);
  RunToTheEnd(sources);
  EXPECT_EQ(sent_.size(), 4U);
  EXPECT_TRUE(sources.Done(0.0));
}

TEST_F(SourceAppsTest, APauseStopsRecordsAndTheClock) {
  options_.kinds = {AIO};
  options_.seconds = 5.0;
  SourceApps sources = MakeSources();
  sources.Start(0.0);
  sources.Tick(0.0);
  sources.Pause(0.5);
  sources.Tick(50.0);
  EXPECT_EQ(sent_.size(), 1U);
  EXPECT_FALSE(sources.Done(50.0));
  sources.Resume(50.0);
  sources.Tick(50.4);
  EXPECT_EQ(sent_.size(), 1U);
  sources.Tick(50.5);
  EXPECT_EQ(sent_.size(), 2U);
  EXPECT_FALSE(sources.Done(54.4));
  EXPECT_TRUE(sources.Done(54.5));
}

TEST_F(SourceAppsTest, HoldsRecordsBackWhileTheBrokerTakesNone) {
  options_.kinds = {AIO};
  options_.rate = 10000.0;
  brokerThere_ = false;
  SourceApps sources = MakeSources();
  sources.Start(0.0);
  sources.Tick(1.0);
  EXPECT_EQ(sent_.size(), 500U);
}

TEST_F(SourceAppsTest, EveryNthRecordIsAnAlarmWhereTheKindHasOne) {
  options_.kinds = {DIO, RS232};
  options_.count = 4;
  options_.alarmEvery = 2;
  SourceApps sources = MakeSources();
  sources.Start(0.0);
  RunToTheEnd(sources);
  std::vector<std::string> dio;
  for (const Sent& sent : sent_) {
    if (sent.kind == DIO) {
      dio.push_back(sent.topic);
    } else {
      EXPECT_EQ(sent.topic, "EnergyMeter/RS232/Record");
    }
  }
  EXPECT_EQ(dio, (std::vector<std::string>{"IOModule/DIO/Record", "IOModule/DIO/Alarm", "IOModule/DIO/Record",
                                           "IOModule/DIO/Alarm"}));
}

TEST_F(SourceAppsTest, MetersTakeTurnsOnEveryLine) {
  options_.kinds = {RS485};
  options_.meters = 2;
  options_.lines = 2;
  options_.count = 5;
  SourceApps sources = MakeSources();
  sources.Start(0.0);
  RunToTheEnd(sources);
  ASSERT_EQ(sent_.size(), 5U);
  EXPECT_EQ(sent_[0].payload.find(R"(1,"GW0001",0,7,1,1,)"), 0U);
  EXPECT_EQ(sent_[1].payload.find(R"(2,"GW0001",0,7,1,2,)"), 0U);
  EXPECT_EQ(sent_[2].payload.find(R"(1,"GW0001",0,7,2,1,)"), 0U);
  EXPECT_EQ(sent_[3].payload.find(R"(2,"GW0001",0,7,2,2,)"), 0U);
  EXPECT_EQ(sent_[4].payload.find(R"(1,"GW0001",0,7,1,1,)"), 0U);
}

TEST_F(SourceAppsTest, KeepsWithinTheMetersAndLinesThatAKindHas) {
  options_.kinds = {SNMP};
  options_.meters = 100;
  options_.lines = 2;
  options_.count = 11;
  SourceApps sources = MakeSources();
  sources.Start(0.0);
  RunToTheEnd(sources);
  ASSERT_EQ(sent_.size(), 11U);
  EXPECT_EQ(sent_[9].payload.find(R"(10,"SITE01","GW0001",7,1,10,)"), 0U);
  EXPECT_EQ(sent_[10].payload.find(R"(1,"SITE01","GW0001",7,1,1,)"), 0U);
}

TEST(Payload, FillsEveryPlace) {
  const PayloadValues values{34, kRun, 2, 1, "2026-11-20 10:00:00"};
  EXPECT_EQ(MakePayload(ProfileOf(AIO), values),
            R"("<","M417",0,7,99,34,1763632800,"2026-11-20 10:00:00",0,"0",">")");
  EXPECT_EQ(MakePayload(ProfileOf(SNMP), values),
            R"(2,"SITE01","GW0001",7,1,2,"ups-2","UPS","192.168.1.50",161,"0","[",)"
            R"("number=34;run=1763632800;load=41;battery=100","]","2026-11-20 10:00:00",0,"0",">")");
  for (const SourceKind kind : kAllKinds) {
    EXPECT_EQ(MakePayload(ProfileOf(kind), values).find('{'), std::string::npos) << kKindWord[kind];
  }
}

}  // namespace
}  // namespace datacollector::sim
