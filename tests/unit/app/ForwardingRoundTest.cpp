#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <set>
#include <string>

#include "app/ForwardingThread.h"
#include "ground/Flags.h"
#include "ground/MainState.h"
#include "ground/RoundBell.h"
#include "mqtt/client/ClientConfig.h"
#include "support/CaptureOutput.h"
#include "support/ConnectedClient.h"
#include "support/ExampleGateway.h"
#include "support/LocalBroker.h"
#include "support/Texts.h"
#include "unit/app/HurriedSleeps.h"

namespace datacollector {
namespace {

constexpr const char* kStatusFile = "/tmp/networkstatus";

constexpr const char* kGateClosed =
    "##############################Inside HTTP Thread,but Not Sending records. Flag is not "
    "set#############################";
constexpr const char* kRs485Flags =
    "##############################Inside HTTP Thread, Sending records#############################\n"
    "CloudConnectSendFlags.gui8_RS485SendDCDBRecordFlags : 0\n"
    "CloudConnectSendFlags.gui8_RS485FirstDCDBRecordSent : 0\n"
    "CloudConnectSendFlags.gui8_RS485SendDCDBRecordRetryFlags : 0\n"
    "CloudConnectSendFlags.gui8_RS485NoDCDBRecordsToPublish : 0\n";
constexpr const char* kWanUp =
    "#######################################WAN is UP , Start sending records#######################\n";
constexpr const char* kSending =
    "##############################Inside HTTP Thread, ui16_CustomerDataBaseReadWriteUpdateEnable = 0 "
    ",Sending records#############################\n";

std::string Slept(int seconds, int milliseconds = 0) {
  return "slptm.tv_sec = " + std::to_string(seconds) + "\nslptm.tv_nsec = " + std::to_string(milliseconds) +
         (milliseconds > 0 ? "000000" : "") + "\nSleeping for " +
         std::to_string(1000 * seconds + milliseconds) + " milliseconds\n";
}

std::string Banner(const std::string& kind) {
  return "############################## Publishing " + kind + " record #############################\n";
}

class ForwardingRound : public ExampleGateway {
 protected:
  ForwardingRound() {
    MakeAllTables();
    std::filesystem::remove(kStatusFile);
    gi32_HTTPThreadSendFlag = 1;
  }
  ~ForwardingRound() override { std::filesystem::remove(kStatusFile); }

  std::string Round() {
    CapturedOutput output;
    {
      const HurriedSleeps hurry;
      RunForwardingRound();
    }
    errors_ = output.Err();
    return Folded(output.Out());
  }

  // The WAN's state as a round takes it from the status file.
  int WanStatusFrom(const std::string& text) {
    WriteFile(kStatusFile, text);
    Round();
    return gui8_WanStatus;
  }
  template <typename Flag>
  static void SetAll(Flag KindSendFlags::*flag, int value) {
    for (KindSendFlags& flags : CloudConnectSendFlags) {
      flags.*flag = static_cast<std::uint8_t>(value);
    }
  }

  std::string errors_;
};

TEST_F(ForwardingRound, WhileTheGateIsClosedNothingIsLookedAt) {
  WriteFile(kStatusFile, "1\n");
  for (const int gate : {0, kGateClosedByHandOver, -1}) {
    gi32_HTTPThreadSendFlag = gate;
    EXPECT_EQ(Round(), kGateClosed + Slept(1)) << gate;
    EXPECT_EQ(gui8_WanStatus, 0);
  }
}

TEST_F(ForwardingRound, WhileTheWanIsDownNothingIsSentForThreeSeconds) {
  WriteFile(kStatusFile, "0\n");
  gui8_WanStatus = 1;
  EXPECT_EQ(Round(), std::string(kRs485Flags) + "networkstatus : 0\n\nWAN is down. \n" + Slept(2) + Slept(1));
  EXPECT_EQ(gui8_WanStatus, 0);
}

TEST_F(ForwardingRound, WithoutTheStatusFileTheLastStateStaysAndIsReported) {
  EXPECT_EQ(Round(), std::string(kRs485Flags) + "WAN is down. \n" + Slept(2) + Slept(1));
  EXPECT_EQ(errors_.find("Error opening network status file: No such file or directory\n"), 0U) << errors_;
  gui8_WanStatus = 1;
  EXPECT_NE(Round().find(kWanUp), std::string::npos);
  EXPECT_EQ(gui8_WanStatus, 1);
}

TEST_F(ForwardingRound, TheFirstNineCharactersOfTheFirstLineDecide) {
  gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable = 1;
  for (const char* up : {"1", "1\n", "-1\n", " 7\n", "2 and more\n", "100000000", "1234567890123\n", "+1"}) {
    EXPECT_EQ(WanStatusFrom(up), 1) << up;
  }
  for (const char* down :
       {"0", "0\n1\n", "up\n", "\n", "000000000", "0000000001", "         1", "0x1", "-0", "zero 1"}) {
    EXPECT_EQ(WanStatusFrom(down), 0) << down;
  }
}

TEST_F(ForwardingRound, AnEmptyStatusFileLeavesTheLastState) {
  gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable = 1;
  gui8_WanStatus = 1;
  EXPECT_EQ(WanStatusFrom(""), 1);
  gui8_WanStatus = 0;
  EXPECT_EQ(WanStatusFrom(""), 0);
}

TEST_F(ForwardingRound, WithMqttOverLanTheWanIsUpAndTheFileNotRead) {
  WriteFile(kStatusFile, "0\n");
  gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable = 1;
  for (const int lan : {1, 2, -1}) {
    gui8_WanStatus = 0;
    gMainState.DataCollectorSourcesConfig.i32_EnableLanMqtt = lan;
    EXPECT_EQ(Round(), std::string(kRs485Flags) + kWanUp + Slept(1));
    EXPECT_EQ(gui8_WanStatus, 1);
  }
}

TEST_F(ForwardingRound, WhileTheCustomerHasTheDatabasesNoSenderIsCalled) {
  WriteFile(kStatusFile, "1\n");
  gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable = 1;
  EXPECT_EQ(Round(), std::string(kRs485Flags) + "networkstatus : 1\n\n" + kWanUp + Slept(1));
}

TEST_F(ForwardingRound, VisitsTheKindsInItsOwnOrder) {
  WriteFile(kStatusFile, "1");
  gMainState.ui16_MainWhileLoopSleepInterval = 100;
  EXPECT_EQ(Round(),
            std::string(kRs485Flags) + "networkstatus : 1\n" + kWanUp + kSending + Banner("AIO") +
                "<SendAIDCDBRecord>\n" + Banner("DIO") + "<SendDIODCDBRecord>\n" + Banner("RS485") +
                "############################# Start : Reading record to publish to Server. Publish GPIO ON "
                "#################################\n"
                "<SendRS485DCDBRecord>\n"
                "############################# End : Reading record to publish to Server. Publish GPIO OFF "
                "#################################\n"
                "GPIO Toggle result : -1\n" +
                Banner("Temperature") + "<SendTemperatureDCDBRecord>\n" + Banner("RS232") +
                "############################# Start : Reading RS232 record to publish to "
                "Server.#################################\n"
                "<SendRS232DCDBRecord>\n"
                "############################# End : Reading RS232 record to publish to "
                "Server.#################################\n" +
                Banner("SNMP") +
                "############################# Start : Reading SNMP record to publish to "
                "Server.#################################\n"
                "<SendSNMPDCDBRecord>\n"
                "############################# End : Reading SNMP record to publish to "
                "Server.#################################\n" +
                Slept(0, 100) + Slept(1));
}

TEST_F(ForwardingRound, OfKindsThatAreDisabledOnlyTheBannersAreLeft) {
  WriteFile(kStatusFile, "1");
  DataCollectorSourcesConfig& sources = gMainState.DataCollectorSourcesConfig;
  sources.i32_DataSourcesEnableFlags = {};
  sources.i32_DataSourcesRS485EnableFlags = {};
  sources.i32_DataSourcesRS232EnableFlags = {};
  sources.i32_DataSourcesSNMPEnableFlags = {};
  gMainState.ui16_MainWhileLoopSleepInterval = 0;
  SetAll(&KindSendFlags::gui8_SendDCDBRecordFlags, 1);
  CloudConnectSendFlags[RS485].gui8_SendDCDBRecordFlags = 0;
  EXPECT_EQ(Round(), std::string(kRs485Flags) + "networkstatus : 1\n" + kWanUp + kSending + Banner("AIO") +
                         Banner("DIO") + Banner("RS485") + Banner("Temperature") + Banner("RS232") +
                         Banner("SNMP") + Slept(0) + Slept(1));
}

TEST_F(ForwardingRound, Rs485IsEnabledByItsFourthLine) {
  WriteFile(kStatusFile, "1");
  gMainState.DataCollectorSourcesConfig.i32_DataSourcesRS485EnableFlags = {};
  gMainState.DataCollectorSourcesConfig.i32_DataSourcesRS485EnableFlags[3][0] = 1;
  EXPECT_NE(Round().find("<SendRS485DCDBRecord>"), std::string::npos);
}

// A kind is due by its send flag, before its first record, or by a retry; and only while it has records.
TEST_F(ForwardingRound, CallsTheSendersOfTheKindsThatAreDue) {
  WriteFile(kStatusFile, "1");
  for (int bits = 0; bits < 16; ++bits) {
    const int send = bits & 1;
    const int first = bits >> 1 & 1;
    const int retry = bits >> 2 & 1;
    const int none = bits >> 3 & 1;
    SetAll(&KindSendFlags::gui8_SendDCDBRecordFlags, send);
    SetAll(&KindSendFlags::gui8_FirstDCDBRecordSent, first);
    SetAll(&KindSendFlags::gui8_SendDCDBRecordRetryFlags, retry);
    SetAll(&KindSendFlags::gui8_NoDCDBRecordsToPublish, none);
    const bool due = (send == 1 || first != 1 || retry == 1) && none == 0;
    const std::string out = Round();
    for (const char* kind : {"AI", "DIO", "RS485", "Temperature", "RS232", "SNMP"}) {
      const bool called = out.find(std::string("<Send") + kind + "DCDBRecord>") != std::string::npos;
      EXPECT_EQ(called, due) << kind << ": send " << send << ", first " << first << ", retry " << retry
                             << ", none left " << none;
    }
  }
}

TEST_F(ForwardingRound, TheFlagsOfOneKindDoNotMakeAnotherDue) {
  WriteFile(kStatusFile, "1");
  SetAll(&KindSendFlags::gui8_FirstDCDBRecordSent, 1);
  CloudConnectSendFlags[TEMPERATURE].gui8_SendDCDBRecordFlags = 1;
  CloudConnectSendFlags[RS232].gui8_SendDCDBRecordRetryFlags = 1;
  const std::string out = Round();
  EXPECT_EQ(CountOf("<Send", out), 2U) << out;
  EXPECT_NE(out.find("<SendTemperatureDCDBRecord>"), std::string::npos);
  EXPECT_NE(out.find("<SendRS232DCDBRecord>"), std::string::npos);
}

// The sender compares the release time that the round hands over with the one that stands when it sends.
TEST_F(ForwardingRound, HandsTheReleaseTimeOfTheKindOver) {
  WriteFile(kStatusFile, "1");
  const LocalBroker broker;
  const ConnectedClient client(gClientConfig);
  std::size_t seconds = 10;
  for (const SourceKind kind : kAllKinds) {
    AddRow(kind, 5);
    CloudConnectSendFlags[kind].gui8_SendDCDBRecordFlags = 1;
    CloudConnectSendFlags[kind].gf64_SendDCDBRecordFlagSetTime.Set(static_cast<std::int64_t>(seconds++), 5);
  }
  Round();
  for (const SourceKind kind : kAllKinds) {
    EXPECT_EQ(CloudConnectSendFlags[kind].gi32_LastSentDCDBRecordNum, 5) << kind;
    EXPECT_EQ(CloudConnectSendFlags[kind].gui8_SendDCDBRecordFlags, 0) << kind;
  }
  EXPECT_NE(gi32_HTTPThreadSendFlag, kGateOpen);
}

class FastForwardingRound : public ForwardingRound {
 protected:
  FastForwardingRound() {
    WriteFile(kStatusFile, "1");
    gMainState.ui16_FastRoundPause = 10;
    gMainState.ui16_MainWhileLoopSleepInterval = 500;
  }
  ~FastForwardingRound() override {
    AwaitRing(0);
    gMainState.ui16_FastRoundPause = 0;
  }

  // A round whose wait is over at once.
  std::string RungRound() {
    RingForRound();
    return Round();
  }

  static bool Ends(const std::string& out, const std::string& end) { return out.ends_with(end); }
};

// Nothing is due: the wait takes a second, unless it rings. The main loop's interval is left out.
TEST_F(FastForwardingRound, ThatCanDoNothingWaitsForTheBell) {
  SetAll(&KindSendFlags::gui8_FirstDCDBRecordSent, 1);
  const std::string out = RungRound();
  EXPECT_TRUE(Ends(out, Banner("SNMP") + Slept(1))) << out;
  EXPECT_EQ(CountOf("Sleeping for", out), 1U);
}

TEST_F(FastForwardingRound, ThatHandsSomethingOverIsFollowedByTheOperatorsPause) {
  const LocalBroker broker;
  const ConnectedClient client(gClientConfig);
  AddRow(AIO, 5);
  EXPECT_TRUE(Ends(RungRound(), Slept(0, 10)));
  EXPECT_TRUE(Ends(RungRound(), Slept(1)));
}

TEST_F(FastForwardingRound, WithAClosedGateWaitsForTheMessageThatOpensIt) {
  gi32_HTTPThreadSendFlag = 0;
  EXPECT_EQ(RungRound(), kGateClosed + Slept(1));
}

TEST_F(FastForwardingRound, WaitsWhileTheCustomerHasTheDatabases) {
  gMainState.ui16_CustomerDataBaseReadWriteUpdateEnable = 1;
  EXPECT_TRUE(Ends(RungRound(), kWanUp + Slept(1)));
}

// The WAN keeps its own pauses, which no bell ends.
TEST_F(FastForwardingRound, WithTheWanDownPausesAsEver) {
  WriteFile(kStatusFile, "0");
  EXPECT_TRUE(Ends(RungRound(), "WAN is down. \n" + Slept(2) + Slept(1)));
  EXPECT_TRUE(AwaitRing(0));
}

// Without a connection a meter kind's packet is refused and its announcement taken back.
TEST_F(FastForwardingRound, AKindWhoseHandOverFailsIsNotTriedAtEveryRing) {
  AddRow(RS485, 5);
  std::size_t calls = 0;
  std::string out;
  for (int round = 0; round < 3; ++round) {
    gMainState.ui16_FastRoundPause = 999;
    out = RungRound();
    calls += CountOf("<SendRS485DCDBRecord>", out);
  }
  EXPECT_EQ(calls, 1U);
  EXPECT_EQ(out.find("Sleeping for 10 "), std::string::npos);
}

TEST_F(ForwardingRound, TheThreadIsCreatedOnce) {
  const pid_t child = ::fork();
  if (child == 0) {
    gi32_HTTPThreadSendFlag = 0;
    StartForwardingThread();
    StartForwardingThread();
    std::size_t threads = 0;
    for ([[maybe_unused]] const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
      ++threads;
    }
    ::_exit(static_cast<int>(threads));
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 2);
}

}  // namespace
}  // namespace datacollector
