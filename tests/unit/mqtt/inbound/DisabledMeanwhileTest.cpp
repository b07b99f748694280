// A kind that is disabled while one of its records is being received.
#include <gtest/gtest.h>

#include <array>
#include <ctime>
#include <functional>
#include <string>
#include <utility>

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "mqtt/inbound/InboundMessage.h"
#include "mqtt/inbound/Ingestion.h"
#include "support/CaptureOutput.h"
#include "support/ExampleGateway.h"

namespace {

// What happens, once, when the calling thread asks for the time of day.
thread_local std::function<void()> meanwhile;

}  // namespace

// Stands in front of the system's own in this program.
extern "C" std::time_t time(std::time_t* seconds) noexcept {
  if (meanwhile) {
    std::exchange(meanwhile, nullptr)();
  }
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  if (seconds != nullptr) {
    *seconds = now.tv_sec;
  }
  return now.tv_sec;
}

namespace datacollector {
namespace {

constexpr std::array<std::size_t, kIoKinds> kRecordEntries = {0, 1, 6};

class DisabledMeanwhile : public ExampleGateway, public ::testing::WithParamInterface<SourceKind> {
 protected:
  DisabledMeanwhile() { MakeTable(kind_); }
  ~DisabledMeanwhile() override { meanwhile = nullptr; }

  std::string Ingest() const {
    CapturedOutput output;
    IngestIoRecord({SubscribeTopic(kRecordEntries[kind_]), kExamplePayloads[kind_]});
    return output.Out();
  }

  const SourceKind kind_ = GetParam();
};

TEST_P(DisabledMeanwhile, ItsRecordIsNotWrittenAndTheSendGateStaysClosed) {
  gi32_HTTPThreadSendFlag = 1;
  meanwhile = [this] { gMainState.DataCollectorSourcesConfig.i32_DataSourcesEnableFlags[kind_][0] = 0; };
  const std::string out = Ingest();
  EXPECT_NE(out.find("Need to Insert"), std::string::npos) << out;
  EXPECT_EQ(out.find("***************Writing "), std::string::npos) << out;
  EXPECT_EQ(out.find("Start Sending Data"), std::string::npos) << out;
  EXPECT_TRUE(RowsOf(kind_).empty());
  EXPECT_EQ(int{RecordFlags.At(kind_)}, 1);
  EXPECT_EQ(int{DBWriteFlags.At(kind_).gui8_PeriodicRecordsWritten}, 0);
  EXPECT_EQ(int{CloudConnectSendFlags[kind_].gui8_SendDCDBRecordFlags}, 0);
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 0);
}

INSTANTIATE_TEST_SUITE_P(Kinds, DisabledMeanwhile, ::testing::Values(AIO, DIO, TEMPERATURE), KindName());

}  // namespace
}  // namespace datacollector
