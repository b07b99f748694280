#include "faults/bench/FaultBench.h"

#include <algorithm>
#include <string>

namespace datacollector::faults {

using gateway::FactsOf;

namespace {

constexpr int kRows = 5;
constexpr int kAttempts = 2;
constexpr const char* kMessageDone = "Out of on msg call back \n";

}  // namespace

void FaultBench::SetUp() {
  Gateway::SetUp();
  environment = Faults::Environment();
  config.Only({AIO}).LoopInterval(10).RowLimit(AIO, kRows);
  config.Set(FactsOf(AIO).controlFile, "AIMaxDatabaseAccessRetry", kAttempts);
  config.Set(FactsOf(AIO).controlFile, "AIDatabaseAccessWaitInterval", 0);
}

bool FaultBench::Offer(SourceKind kind, int request, std::chrono::milliseconds faultLasts) {
  const gateway::Transcript::Mark before = Out().End();
  EXPECT_TRUE(source->Publish(FactsOf(kind).recordTopic, gateway::PayloadOf(kind, request)));
  const auto arrived = Out().WaitFor("topic = <" + std::string(FactsOf(kind).recordTopic) + ">\n", before);
  EXPECT_TRUE(arrived) << "record " << request << " has not arrived";
  if (!arrived) {
    return false;
  }
  if (!Out().WaitFor(kMessageDone, *arrived, faultLasts)) {
    faults.Heal();
  }
  const auto done = Out().WaitFor(kMessageDone, *arrived);
  EXPECT_TRUE(done) << "record " << request << " has not been dealt with";
  return Out().Count(FactsOf(kind).stored, before) > 0;
}

std::vector<int> FaultBench::StoredRequests(SourceKind kind) {
  std::vector<int> requests;
  for (const std::string& request : gateway::ColumnOf(kind, "RequestID")) {
    requests.push_back(std::stoi(request));
  }
  return requests;
}

void FaultBench::ExpectSoundRing(SourceKind kind, int limit) {
  const std::vector<gateway::Row> verdict =
      gateway::Database(gateway::DatabaseOf(kind)).Query("PRAGMA integrity_check");
  ASSERT_EQ(verdict, (std::vector<gateway::Row>{{{"integrity_check", "ok"}}}));
  const std::vector<std::string> numbers = gateway::ColumnOf(kind, "RecordNumber");
  EXPECT_LE(numbers.size(), static_cast<std::size_t>(limit));
  for (std::size_t row = 1; row < numbers.size(); ++row) {
    EXPECT_EQ(std::stoi(numbers[row]), std::stoi(numbers[row - 1]) % limit + 1) << "row " << row;
  }
  const std::vector<int> requests = StoredRequests(kind);
  EXPECT_TRUE(std::adjacent_find(requests.begin(), requests.end(), std::greater_equal<>()) == requests.end())
      << "records are out of order or doubled: " << testing::PrintToString(requests);
}

int FaultBench::NewestRequest(SourceKind kind) {
  const std::vector<int> requests = StoredRequests(kind);
  return requests.empty() ? -1 : requests.back();
}

int FaultBench::StoreEventually(SourceKind kind, int request, std::chrono::seconds patience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!Offer(kind, request)) {
    if (std::chrono::steady_clock::now() > deadline) {
      ADD_FAILURE() << "no record has been stored for " << patience.count() << " s";
      break;
    }
    ++request;
  }
  return request;
}

}  // namespace datacollector::faults
