// Whether a sender looks for a record at all.
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/outbound/Senders.h"
#include "support/CaptureOutput.h"
#include "support/ExampleGateway.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

using Sender = void (*)(ClientConfig& cfg, double releaseTime);
constexpr std::array<Sender, kSourceKinds> kSenders = {SendAIDCDBRecord,          SendDIODCDBRecord,
                                                       SendTemperatureDCDBRecord, SendRS485DCDBRecord,
                                                       SendRS232DCDBRecord,       SendSNMPDCDBRecord};

struct GateWords {
  std::string function;
  std::string forced;
  std::string sending;
  std::string wanDown;
  std::string started;
};

constexpr const char* kWanDown = "wan is down, can not send records to backend.\n";
constexpr const char* kSending = "Wan is up, sending records to backend server..\n";

const std::array<GateWords, kSourceKinds> kWords = {{
    {"SendAIDCDBRecord", "AIO", kSending, kWanDown, ""},
    {"SendDIODCDBRecord", "DIO", "Wan is up, sending DIO records to backend server..\n", "",
     " SendDIODCDBRecord started\n"},
    {"SendTemperatureDCDBRecord", "Temperature",
     "Wan is up, sending Temperature records to backend server..\n", "",
     " SendTemperatureDCDBRecord started\n"},
    {"SendRS485DCDBRecord", "RS485", kSending, kWanDown, ""},
    {"SendRS232DCDBRecord", "RS232", kSending, "wan is down, can not send RS232 records to backend.\n", ""},
    {"SendSNMPDCDBRecord", "SNMP", kSending, kWanDown, ""},
}};

class SenderGate : public ExampleGateway, public ::testing::WithParamInterface<SourceKind> {
 protected:
  SenderGate() {
    MakeTable(kind_);
    gui8_WanStatus = 1;
  }

  std::string Send() {
    CapturedOutput output;
    kSenders[kind_](*cfg_, 0);
    return Folded(output.Out(), {words_.function});
  }

  std::string Traced(const std::string& text) const {
    const std::string line = "FILE:Senders.cpp:LINE:N:FUNCTION:" + words_.function;
    return line + ":START\n" + text + line + ":END\n";
  }

  // What a sender prints first: RS-485 shows its gate, between two lines of "#".
  std::string Entry(int wan, int first, int unsent, int retry) const {
    if (kind_ != RS485) {
      return words_.started;
    }
    const std::string frame(72, '#');
    return frame + "\ngui8_WanStatus = " + std::to_string(wan) +
           "\ngui8_FirstDCDBRecordSent = " + std::to_string(first) +
           "\ngui8_SendUnsentDCDBRecord = " + std::to_string(unsent) +
           "\ngui8_SendDCDBRecordRetryFlags = " + std::to_string(retry) + "\n" + frame + "\n";
  }

  std::string Forced(int retry) const {
    return retry == 1 ? "forcefully sending unsent " + words_.forced + " record = 1\n ..\n" : "";
  }

  // Of an attempt that finds no record.
  std::string Nothing() const {
    const std::string unsent = words_.function.substr(0, 4) + "Unsent" + words_.function.substr(4);
    return words_.sending + "<" + unsent + ">\nFailure: " + unsent + "s no unsent record present\n";
  }

  const SourceKind kind_ = GetParam();
  const GateWords& words_ = kWords[kind_];
  KindSendFlags& flags_ = CloudConnectSendFlags[kind_];
  std::unique_ptr<ClientConfig> cfg_ = std::make_unique<ClientConfig>();
};

TEST_P(SenderGate, IsOpenForTheFirstRecordAConfirmationOrARetryAndAlwaysForMeters) {
  for (int bits = 0; bits < 8; ++bits) {
    const int first = bits & 1;
    const int unsent = bits >> 1 & 1;
    const int retry = bits >> 2 & 1;
    SCOPED_TRACE("first " + std::to_string(first) + ", unsent " + std::to_string(unsent) + ", retry " +
                 std::to_string(retry));
    flags_.gui8_FirstDCDBRecordSent = static_cast<std::uint8_t>(first);
    flags_.gui8_SendUnsentDCDBRecord = static_cast<std::uint8_t>(unsent);
    flags_.gui8_SendDCDBRecordRetryFlags = static_cast<std::uint8_t>(retry);
    const bool open = first == 0 || unsent == 1 || retry == 1 || kind_ >= RS485;
    EXPECT_EQ(Send(), Traced(Entry(1, first, 1, retry) + Forced(retry) + (open ? Nothing() : "")));
    EXPECT_EQ(flags_.gui8_FirstDCDBRecordSent, first);
    EXPECT_EQ(flags_.gui8_SendUnsentDCDBRecord, kind_ >= RS485 ? 1 : unsent);
    EXPECT_EQ(flags_.gui8_SendDCDBRecordRetryFlags, retry);
  }
}

// With fast rounds the meters wait like all others: they would hand the same record over all the time.
TEST_P(SenderGate, IsTheSameForEveryKindWithFastRounds) {
  gMainState.ui16_FastRoundPause = 10;
  for (int bits = 0; bits < 8; ++bits) {
    const int first = bits & 1;
    const int unsent = bits >> 1 & 1;
    const int retry = bits >> 2 & 1;
    SCOPED_TRACE("first " + std::to_string(first) + ", unsent " + std::to_string(unsent) + ", retry " +
                 std::to_string(retry));
    flags_.gui8_FirstDCDBRecordSent = static_cast<std::uint8_t>(first);
    flags_.gui8_SendUnsentDCDBRecord = static_cast<std::uint8_t>(unsent);
    flags_.gui8_SendDCDBRecordRetryFlags = static_cast<std::uint8_t>(retry);
    const bool open = first == 0 || unsent == 1 || retry == 1;
    EXPECT_EQ(Send(), Traced(Entry(1, first, unsent, retry) + Forced(retry) + (open ? Nothing() : "")));
    EXPECT_EQ(flags_.gui8_SendUnsentDCDBRecord, unsent);
  }
}

// The two I/O-module senders that follow the gate but not the WAN: DIO and temperature.
TEST_P(SenderGate, AWanThatIsDownStopsAllButDioAndTemperature) {
  for (const std::uint8_t wan : {std::uint8_t{0}, std::uint8_t{2}}) {
    gui8_WanStatus = wan;
    flags_.gui8_SendDCDBRecordRetryFlags = 1;
    const bool sends = kind_ == DIO || kind_ == TEMPERATURE;
    EXPECT_EQ(Send(), Traced(Entry(wan, 0, 1, 1) + (sends ? Forced(1) + Nothing() : words_.wanDown)));
  }
}

TEST_P(SenderGate, TheMetersAskForTheNextRecordEvenWhileTheWanIsDown) {
  gui8_WanStatus = 0;
  Send();
  EXPECT_EQ(flags_.gui8_SendUnsentDCDBRecord, kind_ >= RS485 ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(Kinds, SenderGate, ::testing::ValuesIn(kAllKinds), KindName());

}  // namespace
}  // namespace datacollector
