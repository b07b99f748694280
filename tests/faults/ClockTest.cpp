// A time of day that jumps: as when a gateway without a battery hears from its time server, or from a wrong
// one. Records are stored, handed over and confirmed as before, and numbered on.
#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <string>
#include <vector>

#include "faults/bench/FaultBench.h"

namespace datacollector::faults {
namespace {

using gateway::HttpSendApp;
using std::chrono::seconds;
using std::chrono::system_clock;

constexpr int kRows = 20;
constexpr seconds kDay{86400};

// From now on, or a time of day since 1970.
struct Jump {
  const char* name;
  bool absolute;
  seconds by;
  const char* readTime;  // what a record's read time begins with; empty: not known
};

void PrintTo(const Jump& jump, std::ostream* out) { *out << jump.name; }

// clang-format off
constexpr Jump kJumps[] = {
    {"BackAYear",          false, -365 * kDay,         ""},
    {"ForwardADay",        false, kDay,                ""},
    {"BackToTheEpoch",     true,  seconds{1},          "1970-01-01"},
    {"OverTheEndOf32Bits", true,  seconds{2147483646}, "2038-01-19"},
    {"To2107",             true,  seconds{4325000000}, "2107-01-20"},
};
// clang-format on

class ClockTest : public FaultBench, public testing::WithParamInterface<Jump> {
 protected:
  void SetUp() override {
    FaultBench::SetUp();
    config.RowLimit(AIO, kRows).PublishInterval(AIO, 1);
  }

  void MakeTheJump() {
    const auto now = std::chrono::duration_cast<seconds>(system_clock::now().time_since_epoch());
    faults.SetClock(GetParam().by - (GetParam().absolute ? now : seconds{0}));
  }

  // Stored, and confirmed: a packet that is lost is sent again after its publish interval, whatever the clock
  // says.
  void StoreAndDeliver(int firstRequest, int count) {
    StoreFrom(AIO, firstRequest, count);
    const auto deadline = std::chrono::steady_clock::now() + 2 * gateway::kPatience;
    std::vector<std::string> status;
    do {
      WaitForForwardingRounds(1);
      status = gateway::ColumnOf(AIO, "TxStatus");
    } while (status != std::vector<std::string>(status.size(), "1") &&
             std::chrono::steady_clock::now() < deadline);
    EXPECT_EQ(status, std::vector<std::string>(status.size(), "1"));
  }

  void ExpectAllInOrder(int count) {
    ExpectSoundRing(AIO, kRows);
    std::vector<int> expected;
    for (int request = 1; request <= count; ++request) {
      expected.push_back(request);
    }
    EXPECT_EQ(StoredRequests(AIO), expected);
  }

  static std::string NewestReadTime() { return gateway::RowsOf(AIO).back().at("RecordReadTime"); }

  // Leaves the second of three packets without a confirmation.
  static HttpSendApp::Answer Forgetful() {
    return [packets = 0](const gateway::Packet&) mutable { return ++packets % 3 == 2 ? -1 : 1; };
  }
};

TEST_P(ClockTest, JumpsWhileRunning) {
  Start(Forgetful());
  StoreAndDeliver(1, 1);
  MakeTheJump();
  StoreAndDeliver(2, 2);
  EXPECT_EQ(NewestReadTime().substr(0, std::string(GetParam().readTime).size()), GetParam().readTime);
  faults.SetClock(seconds{0});
  StoreAndDeliver(4, 1);
  ExpectAllInOrder(4);
}

TEST_P(ClockTest, IsWrongAtTheStart) {
  MakeTheJump();
  Start(Forgetful());
  StoreAndDeliver(1, 2);
  Kill();
  faults.SetClock(seconds{0});
  Start();
  StoreAndDeliver(3, 1);
  ExpectAllInOrder(3);
}

INSTANTIATE_TEST_SUITE_P(Of, ClockTest, testing::ValuesIn(kJumps), NameOfCase<Jump>);

}  // namespace
}  // namespace datacollector::faults
