// A gateway whose disk is in the hands of the test, and what must hold of its tables whatever happens.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "faults/bench/Faults.h"
#include "faults/bench/Rounds.h"
#include "gateway/harness/Gateway.h"

namespace datacollector::faults {

inline constexpr const char* kWatchedFolder = "/vorl/disk/AppData/K740/DataCollector/Db";

class FaultBench : public gateway::Gateway {
 public:
  // The table is sound: no damage, at most `limit` rows, numbers that follow each other round the ring,
  // request ids that only grow.
  static void ExpectSoundRing(SourceKind kind, int limit);

  // The request ids in the table, oldest first.
  static std::vector<int> StoredRequests(SourceKind kind);

  // The request id of the newest row; -1 where there is none.
  static int NewestRequest(SourceKind kind);

 protected:
  FaultBench() : faults(kWatchedFolder) {}

  // Fast rounds; AIO alone, in a table of a few rows.
  void SetUp() override;

  // What the daemon is started with from now on has this fault.
  void Plant(const std::string& fault) { environment = Faults::Environment(fault); }

  // Publishes a record and waits until the daemon has dealt with it; whether it says that it is stored. A
  // fault that the daemon is still busy with after `faultLasts` is healed.
  bool Offer(SourceKind kind, int request, std::chrono::milliseconds faultLasts = gateway::kPatience / 2);

  // The next record, offered again and again for `patience`, is stored; a record that is refused is offered
  // under the next id. Returns the id of the one that was stored.
  int StoreEventually(SourceKind kind, int request, std::chrono::seconds patience = gateway::kPatience);

  Faults faults;
};

// For tests that run once for each row of a table of cases.
template <typename Case>
std::string NameOfCase(const testing::TestParamInfo<Case>& info) {
  return info.param.name;
}

}  // namespace datacollector::faults
