#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "app/PublishProtocol.h"
#include "ground/Flags.h"
#include "ground/MainState.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/inbound/RequestIds.h"
#include "support/CaptureOutput.h"
#include "support/ConnectedClient.h"
#include "support/ExampleGateway.h"
#include "support/LocalBroker.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

// Without a broker a request is built, told and refused.
class DataRequests : public ExampleGateway {
 protected:
  DataRequests() { gMainState.ui16_MeterReadSleepInterval = 0; }

  // The payloads that were published, in their order.
  static std::vector<std::string> Payloads(const std::string& out) {
    std::vector<std::string> payloads;
    const std::regex line("######## cfg->message = <(.*)> ########\n");
    for (std::sregex_iterator match(out.begin(), out.end(), line); match != std::sregex_iterator(); ++match) {
      payloads.push_back((*match)[1]);
    }
    return payloads;
  }

  std::string Ask(int requestCase) {
    CapturedOutput output;
    AppDataReq(*cfg_, requestCase);
    return Folded(output.Out(), {"AppDataReq"});
  }
  std::vector<std::string> AskMeters(int mode) {
    CapturedOutput output;
    AppDataMultiReq(*cfg_, mode);
    out_ = output.Out();
    return Payloads(out_);
  }

  using Texts = std::vector<std::string>;
  DataCollectorSourcesConfig& sources_ = gMainState.DataCollectorSourcesConfig;
  std::unique_ptr<ClientConfig> cfg_ = std::make_unique<ClientConfig>();
  std::string out_;
};

TEST_F(DataRequests, AnIoRequestIsCodeAndNumberBetweenItsMarks) {
  CapturedOutput output;
  publishAppDataRequest(*cfg_, 1, 7);
  const std::string place = "FILE:PublishProtocol.cpp:LINE:N:FUNCTION:publishAppDataRequest";
  EXPECT_EQ(Folded(output.Out(), {"publishAppDataRequest"}),
            place +
                ":START\n######## cfg->topic = <IOModule/Request> ########\n"
                "######## cfg->msglen = <7> ########\n"
                "######## cfg->message = <<,1,7,>> ########\n"
                "<Mosquitto_Publish>\n" +
                place + ":END\n");
  EXPECT_STREQ(cfg_->host, "127.0.0.1");
}

TEST_F(DataRequests, AMeterRequestHasMeterAndLineAsWell) {
  CapturedOutput output;
  publishAppDataMultiRequest(*cfg_, 12, 5, 3, 1);
  const std::string place = "FILE:PublishProtocol.cpp:LINE:N:FUNCTION:publishAppDataMultiRequest";
  EXPECT_EQ(Folded(output.Out(), {"publishAppDataMultiRequest"}),
            place +
                ":START\n######## cfg->topic = <EnergyMeter/RS485/Request> ########\n"
                "######## cfg->msglen = <12> ########\n"
                "######## cfg->message = <<,12,5,3,1,>> ########\n"
                "<Mosquitto_Publish>\n" +
                place + ":END\n");
}

TEST_F(DataRequests, ReachTheSourceApplicationsByteForByte) {
  const LocalBroker broker;
  Listener listener;
  const ConnectedClient client(*cfg_);
  CapturedOutput output;
  publishAppDataRequest(*cfg_, 2, -3);
  publishAppDataMultiRequest(*cfg_, 13, 2147483647, 100, 2);
  ASSERT_TRUE(listener.WaitForMessages(2));
  const std::vector<HeardMessage> heard = listener.Heard();
  EXPECT_EQ(heard[0].topic, "IOModule/Request");
  EXPECT_EQ(heard[0].payload, "<,2,-3,>");
  EXPECT_EQ(heard[1].topic, "EnergyMeter/RS485/Request");
  EXPECT_EQ(heard[1].payload, "<,13,2147483647,100,2,>");
  output.Out();
}

TEST_F(DataRequests, CaseZeroAsksForAnalogAndCaseOneForDigitalData) {
  const std::string place = "FILE:PublishProtocol.cpp:LINE:N:FUNCTION:AppDataReq";
  EXPECT_EQ(Ask(0), place + ":START\ni32_Case: 0\nin AIO APP DATA REQ \n<publishAppDataRequest>\n" + place +
                        ":END\n");
  EXPECT_STREQ(cfg_->message.get(), "<,1,1,>");
  EXPECT_EQ(Ask(1), place + ":START\ni32_Case: 1\nin DIO APP DATA REQ \n<publishAppDataRequest>\n" + place +
                        ":END\n");
  EXPECT_STREQ(cfg_->message.get(), "<,2,1,>");
}

TEST_F(DataRequests, AnyOtherCaseAsksForNothing) {
  for (const int other : {2, 3, -1, 1000}) {
    const std::string place = "FILE:PublishProtocol.cpp:LINE:N:FUNCTION:AppDataReq";
    EXPECT_EQ(Ask(other), place + ":START\ni32_Case: " + std::to_string(other) + "\n" + place + ":END\n");
  }
  EXPECT_EQ(cfg_->message, nullptr);
  for (const DataRequest& request : AppDataReqFlags) {
    EXPECT_EQ(request.gi32_ReqId, 0);
  }
}

TEST_F(DataRequests, ADisabledKindIsNotAskedAndKeepsItsCounter) {
  sources_.i32_DataSourcesEnableFlags[DIO][0] = 0;
  EXPECT_EQ(Ask(1).find("DIO"), std::string::npos);
  EXPECT_EQ(AppDataReqFlags.At(DIO).gi32_ReqId, 0);
  EXPECT_EQ(cfg_->message, nullptr);
}

TEST_F(DataRequests, TheCounterAdvancesEvenThoughThePublishIsRefused) {
  Ask(0);
  Ask(0);
  Ask(1);
  EXPECT_EQ(AppDataReqFlags.At(AIO).gi32_ReqId, 2);
  EXPECT_EQ(AppDataReqFlags.At(DIO).gi32_ReqId, 1);
  EXPECT_STREQ(cfg_->message.get(), "<,2,1,>");
}

// With a limit of 10 the counter reaches 11 before it starts again at 1.
TEST_F(DataRequests, NumbersRunToOneMoreThanTheLimit) {
  gMainState.ui16_MaxAppDataReqId = 10;
  for (int number = 1; number <= 11; ++number) {
    Ask(0);
    EXPECT_EQ(std::string(cfg_->message.get()), "<,1," + std::to_string(number) + ",>");
    CapturedOutput output;
    ResetReqId(AIO);
    output.Out();
  }
  Ask(0);
  EXPECT_STREQ(cfg_->message.get(), "<,1,1,>");
}

TEST_F(DataRequests, AllMetersAreAskedMeterByMeterWithTheirBaseNumbers) {
  sources_.i32_NoOfEMetersInLine[0] = 2;
  sources_.i32_NoOfEMetersInLine[1] = 1;
  sources_.MeterID[0] = 40;
  sources_.MeterID[1] = 50;
  EXPECT_EQ(AskMeters(0), (Texts{"<,12,40,1,1,>", "<,13,40,1,2,>", "<,12,50,2,1,>"}));
  EXPECT_EQ(AppDataReqFlags.At(RS485, 0, 0).gi32_ReqId, 41);
  EXPECT_EQ(AppDataReqFlags.At(RS485, 0, 1).gi32_ReqId, 41);
  EXPECT_EQ(AppDataReqFlags.At(RS485, 1, 0).gi32_ReqId, 51);
  EXPECT_EQ(AppDataReqFlags.At(RS485, 1, 1).gi32_ReqId, 0);
  EXPECT_EQ(AppDataReqFlags.At(RS485, 0, 0).gui8_AppDataReqPublished, 1);
  EXPECT_EQ(AppDataReqFlags.At(RS485, 1, 1).gui8_AppDataReqPublished, 0);
  EXPECT_EQ(DBWriteFlags.At(RS485, 0, 0).gui8_WriteRecordsRequested, 0);
}

TEST_F(DataRequests, AMeterOfTheThirdOrFourthLineIsCountedButNothingIsPublished) {
  sources_.i32_DataSourcesRS485EnableFlags = {};
  for (const std::size_t line : {std::size_t{2}, std::size_t{3}}) {
    sources_.i32_DataSourcesRS485EnableFlags[line][0] = 1;
    sources_.i32_NoOfEMetersInLine[line] = 1;
  }
  EXPECT_EQ(AskMeters(0), Texts{});
  EXPECT_EQ(AppDataReqFlags.At(RS485, 0, 2).gui8_AppDataReqPublished, 1);
  EXPECT_EQ(AppDataReqFlags.At(RS485, 0, 3).gui8_AppDataReqPublished, 1);
}

TEST_F(DataRequests, LinesThatAreDisabledOrNotCountedAreNotAsked) {
  sources_.i32_NoOfEMetersInLine[0] = 1;
  sources_.i32_NoOfEMetersInLine[1] = 1;
  sources_.i32_DataSourcesRS485EnableFlags[0][0] = 0;
  EXPECT_EQ(AskMeters(0).size(), 1U);
  SrcFlags.gi32_TotalNumRS485EnSrces = 1;
  EXPECT_EQ(AskMeters(0), Texts{});
  SrcFlags.gi32_TotalNumRS485EnSrces = -1;
  EXPECT_EQ(AskMeters(0), Texts{});
}

TEST_F(DataRequests, ALineWithoutMetersIsNotAskedAndCountsOutsideTheTableAreCut) {
  sources_.i32_NoOfEMetersInLine[0] = -1;
  sources_.i32_NoOfEMetersInLine[1] = 0;
  EXPECT_EQ(AskMeters(0), Texts{});
  sources_.i32_NoOfEMetersInLine[0] = 1000;
  SrcFlags.gi32_TotalNumRS485EnSrces = 1000;
  EXPECT_EQ(AskMeters(0).size(), 100U);
}

TEST_F(DataRequests, InRetryModeOnlyPendingMetersAreAskedAndTheirPeriodStartsAnew) {
  sources_.MeterID[7] = 70;
  DataRequest& request = AppDataReqFlags.At(RS485, 7, 1);
  request.gui8_AppDataReqPending = 1;
  AppDataReqFlags.At(RS485, 8, 1).gui8_AppDataReqPending = 2;
  PeriodicWindow& window = DBWriteFlags.At(RS485, 7, 1);
  window.gui8_PeriodicRecordsWritten = 1;
  window.gui8_WriteRecordsDue = 1;
  EXPECT_EQ(AskMeters(1), (Texts{"<,13,70,8,2,>"}));
  EXPECT_EQ(request.gui8_AppDataReqPending, 0);
  EXPECT_EQ(request.gui8_AppDataReqPublished, 1);
  EXPECT_EQ(request.gi32_ReqId, 71);
  EXPECT_EQ(window.gui8_PeriodicRecordsWritten, 0);
  EXPECT_EQ(window.gui8_WriteRecordsRequested, 1);
  EXPECT_EQ(window.gui8_WriteRecordsDue, 0);
  EXPECT_EQ(AskMeters(-1), Texts{});
}

TEST_F(DataRequests, AfterEachOfTheHundredMeterIndexesThereIsAPause) {
  gMainState.ui16_MeterReadSleepInterval = 1;
  sources_.i32_DataSourcesRS485EnableFlags = {};
  AskMeters(0);
  EXPECT_EQ(CountOf("Sleeping for 1 milliseconds\n", out_), 100U);
}

TEST_F(DataRequests, ResettingClearsTheBookkeepingAndKeepsTheNumbers) {
  for (DataRequest* request : {&AppDataReqFlags.At(AIO), &AppDataReqFlags.At(RS485, 99, 9),
                               &AppDataReqFlags.At(RS232, 9, 0), &AppDataReqFlags.At(SNMP, 9, 0)}) {
    request->gui8_AppDataReqPublished = 1;
    request->gui8_AppDataReqPending = 1;
    request->gi32_ReqId = 5;
  }
  CapturedOutput output;
  ResetAppDataReqFlags();
  for (const DataRequest* request : {&AppDataReqFlags.At(AIO), &AppDataReqFlags.At(RS485, 99, 9),
                                     &AppDataReqFlags.At(RS232, 9, 0), &AppDataReqFlags.At(SNMP, 9, 0)}) {
    EXPECT_EQ(request->gui8_AppDataReqPublished, 0);
    EXPECT_EQ(request->gui8_AppDataReqPending, 0);
    EXPECT_EQ(request->gi32_ReqId, 5);
  }
  output.Out();
}

}  // namespace
}  // namespace datacollector
