// Whether records go out follows the state of the WAN.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <string>
#include <string_view>

#include "gateway/harness/Gateway.h"

namespace datacollector::gateway {
namespace {

constexpr const char* kDown = "WAN is down. ";
constexpr const char* kUp =
    "#######################################WAN is UP , Start sending records#######################\n";

class WanTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.LoopInterval(20);
  }

  void StoreOneOfEachKind() {
    for (const SourceKind kind : kAllKinds) {
      Store(kind);
    }
  }

  void ExpectNothingSentForThreeRounds() {
    ASSERT_TRUE(Out().WaitForCount(kDown, 3, Out().End()));
    for (const SourceKind kind : kAllKinds) {
      EXPECT_TRUE(httpSendApp->Packets(kind).empty()) << FactsOf(kind).name;
    }
  }
};

TEST_F(WanTest, NothingIsSentWhileTheWanIsDownAndEverythingWhenItComesUp) {
  WanDown();
  Start();
  StoreOneOfEachKind();
  ExpectNothingSentForThreeRounds();
  WanUp();
  for (const SourceKind kind : kAllKinds) {
    WaitUntilUpdated(kind, 1);
  }
}

TEST_F(WanTest, NothingIsSentBeforeTheStateFileExists) {
  std::filesystem::remove(kNetworkStatusFile);
  Start();
  StoreOneOfEachKind();
  ExpectNothingSentForThreeRounds();
  EXPECT_TRUE(Err().WaitForCount("Error opening network status file: No such file or directory\n", 3));
}

TEST_F(WanTest, AStateFileThatDisappearsLeavesTheStateAsItWas) {
  Start();
  OpenSendGate();
  WaitForForwardingRounds(1);
  std::filesystem::remove(kNetworkStatusFile);
  ASSERT_TRUE(Err().WaitFor("Error opening network status file: No such file or directory\n"));
  Store(AIO);
  WaitUntilUpdated(AIO, 1);
  EXPECT_EQ(Out().Count(kDown), 0U);
}

TEST_F(WanTest, WithMqttOverLanTheStateFileIsNotLookedAt) {
  config.Set(kSourcesFile, "enablelanmqtt", 1);
  WanDown();
  Start();
  Store(AIO);
  WaitUntilUpdated(AIO, 1);
  EXPECT_EQ(Out().Count(kDown), 0U);
  EXPECT_EQ(Out().Count("networkstatus : "), 0U);
}

TEST_F(WanTest, TheFirstNineCharactersOfTheStateFileDecide) {
  struct State {
    const char* firstLine;
    const char* read;
    bool up;
  };
  constexpr std::array<State, 6> kStates = {{{"2", "2", true},
                                             {"abc", "abc", false},
                                             {"-1", "-1", true},
                                             {"0000000001", "000000000", false},
                                             {"000000001", "000000001", true},
                                             {"7 up", "7 up", true}}};
  Start();
  OpenSendGate();
  for (const State& state : kStates) {
    SetWan(state.firstLine);
    const auto read = Out().WaitFor("networkstatus : " + std::string(state.read) + "\n", Out().End());
    ASSERT_TRUE(read) << state.firstLine;
    const std::string_view expected = state.up ? kUp : kDown;
    const std::string_view opposite = state.up ? kDown : kUp;
    const auto decided = Out().WaitFor(expected, *read);
    ASSERT_TRUE(decided) << state.firstLine;
    EXPECT_EQ(Out().Since(*read).substr(0, *decided - *read).find(opposite), std::string::npos)
        << state.firstLine;
  }
}

}  // namespace
}  // namespace datacollector::gateway
