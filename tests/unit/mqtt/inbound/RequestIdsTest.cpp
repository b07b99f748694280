#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "mqtt/inbound/RequestIds.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

class RequestIds : public ::testing::Test {
 protected:
  RequestIds() {
    ZeroMainState(gMainState);
    ZeroFlags();
    gMainState.ui16_MaxAppDataReqId = 10;
  }
  ~RequestIds() override { ZeroFlags(); }
};

TEST_F(RequestIds, TheCounterRunsToOneMoreThanItsLimit) {
  CapturedOutput output;
  for (const SourceKind kind : {AIO, DIO, TEMPERATURE}) {
    Word& counter = AppDataReqFlags.At(kind).gi32_ReqId;
    counter = 10;
    ResetReqId(kind);
    EXPECT_EQ(counter, 10) << kind;
    counter = 11;
    ResetReqId(kind);
    EXPECT_EQ(counter, 0) << kind;
  }
}

TEST_F(RequestIds, AResetTouchesNoOtherKindsCounter) {
  CapturedOutput output;
  for (DataRequest& request : AppDataReqFlags) {
    request.gi32_ReqId = 11;
  }
  ResetReqId(DIO);
  EXPECT_EQ(AppDataReqFlags.At(AIO).gi32_ReqId, 11);
  EXPECT_EQ(AppDataReqFlags.At(DIO).gi32_ReqId, 0);
  EXPECT_EQ(AppDataReqFlags.At(TEMPERATURE).gi32_ReqId, 11);
}

TEST_F(RequestIds, OtherKindsHaveNoCounter) {
  CapturedOutput output;
  for (DataRequest& request : AppDataReqFlags) {
    request.gi32_ReqId = 11;
  }
  ResetReqId(3);
  ResetReqId(1000);
  for (const DataRequest& request : AppDataReqFlags) {
    EXPECT_EQ(request.gi32_ReqId, 11);
  }
}

TEST_F(RequestIds, AResetPrintsItsEndAtEntryAndAtExitAndNoStart) {
  CapturedOutput output;
  ResetReqId(AIO);
  EXPECT_EQ(WithoutLineNumbers(output.Out()),
            "FILE:RequestIds.cpp:LINE:N:FUNCTION:ResetReqId:END\n"
            "FILE:RequestIds.cpp:LINE:N:FUNCTION:ResetReqId:END\n");
}

struct MeterReset {
  const char* name;
  SourceKind kind;
  void (*reset)(std::size_t line);
  std::size_t lines;  // that have numbers

  friend void PrintTo(const MeterReset& value, std::ostream* out) { *out << value.name; }
};

class MeterRequestIds : public RequestIds, public ::testing::WithParamInterface<MeterReset> {
 protected:
  MeterRequestIds() {
    DataCollectorSourcesConfig& sources = gMainState.DataCollectorSourcesConfig;
    sources.i32_NoOfEMetersInLine.fill(5);
    sources.i32_NoOfRS232EMetersInLine.fill(5);
    sources.i32_NoOfSNMPDevicesInLine.fill(5);
  }

  static Word& Number(std::size_t meter, std::size_t line = 0) {
    return AppDataReqFlags.At(GetParam().kind, meter, line).gi32_ReqId;
  }
};

TEST_P(MeterRequestIds, WrapAboveTheLimitUpToTheLinesMeterCount) {
  for (std::size_t line = 0; line < GetParam().lines; ++line) {
    Number(0, line) = 10;
    Number(1, line) = 11;
    Number(4, line) = 12;
    Number(5, line) = 13;
    CapturedOutput output;
    GetParam().reset(line);
    EXPECT_EQ(output.Out(), "");
    EXPECT_EQ(Number(0, line), 10);
    EXPECT_EQ(Number(1, line), 0);
    EXPECT_EQ(Number(4, line), 0);
    EXPECT_EQ(Number(5, line), 13);
  }
}

TEST_P(MeterRequestIds, OtherLinesAreLeftAlone) {
  const std::size_t tableLines = kKinds[GetParam().kind].lines;
  for (std::size_t line = 0; line < tableLines; ++line) {
    Number(0, line) = 11;
  }
  GetParam().reset(GetParam().lines);
  GetParam().reset(1000);
  for (std::size_t line = 0; line < tableLines; ++line) {
    EXPECT_EQ(Number(0, line), 11) << line;
  }
}

TEST_P(MeterRequestIds, AMeterCountBeyondTheTableEndsAtTheTable) {
  DataCollectorSourcesConfig& sources = gMainState.DataCollectorSourcesConfig;
  sources.i32_NoOfEMetersInLine.fill(100000);
  sources.i32_NoOfRS232EMetersInLine.fill(100000);
  sources.i32_NoOfSNMPDevicesInLine.fill(100000);
  const std::size_t last = kKinds[GetParam().kind].meters - 1;
  Number(last) = 11;
  GetParam().reset(0);
  EXPECT_EQ(Number(last), 0);
}

TEST_P(MeterRequestIds, ANegativeMeterCountWrapsNothing) {
  DataCollectorSourcesConfig& sources = gMainState.DataCollectorSourcesConfig;
  sources.i32_NoOfEMetersInLine.fill(-1);
  sources.i32_NoOfRS232EMetersInLine.fill(-1);
  sources.i32_NoOfSNMPDevicesInLine.fill(-1);
  Number(0) = 11;
  GetParam().reset(0);
  EXPECT_EQ(Number(0), 11);
}

INSTANTIATE_TEST_SUITE_P(Kinds, MeterRequestIds,
                         ::testing::Values(MeterReset{"RS485", RS485, ResetRS485ReqId, 2},
                                           MeterReset{"RS232", RS232, ResetRS232ReqId, 1},
                                           MeterReset{"SNMP", SNMP, ResetSNMPReqId, 1}),
                         [](const auto& reset) { return std::string(reset.param.name); });

}  // namespace
}  // namespace datacollector
