#include <gtest/gtest.h>

#include <string>

#include "unit/config/SiteFileTest.h"

namespace datacollector {
namespace {

using TopicsConfig = SiteFileTest;

TEST_F(TopicsConfig, ReadsTheTopics) {
  const Reading reading = Read(ReadTopicsConfig, R"(
NoOfSubscribeTopics = 2;
SubscribeTopic1 = "IOModule/AIO/Record";
SubscribeTopic2 = "IOModule/DIO/Record";
SubscribeTopic3 = "not counted";
AppDataReqPublishTopic = "IOModule/Request";
AppDataMultiReqPublishTopic = "EnergyMeter/RS485/Request";
AppDataMultiReqPublishTopicRS232 = "EnergyMeter/RS232/Request";
AppDataMultiReqPublishTopicSNMP = "SNMP/Request";
NoOfHTTPPublishTopics = 1;
HTTPSendPublishTopic1 = "HTTPSend/AIO/Record";
)");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.err, "");
  EXPECT_EQ(reading.out,
            Traced(kFile, "ReadTopicsConfig",
                   Number("NoOfSubscribeTopics", 2) + "0 : value at setting in SubscribeTopic1 in " + path_ +
                       " file=IOModule/AIO/Record\n" + "1 : value at setting in SubscribeTopic2 in " + path_ +
                       " file=IOModule/DIO/Record\n" + Found("AppDataReqPublishTopic", "IOModule/Request") +
                       Found("AppDataMultiReqPublishTopic", "EnergyMeter/RS485/Request") +
                       Found("AppDataMultiReqPublishTopicRS232", "EnergyMeter/RS232/Request") +
                       Found("AppDataMultiReqPublishTopicSNMP", "SNMP/Request") +
                       "NoOfHTTpPublishTopics = NoOfHTTPPublishTopics, and Value = 1\n" +
                       Found("HTTPSendPublishTopic1", "HTTPSend/AIO/Record")));
  EXPECT_EQ(topics_.ui16_NoOfSubscribeTopics, 2);
  EXPECT_STREQ(topics_.i8_SubscribeTopics[0].c_str(), "IOModule/AIO/Record");
  EXPECT_STREQ(topics_.i8_SubscribeTopics[1].c_str(), "IOModule/DIO/Record");
  EXPECT_STREQ(topics_.i8_SubscribeTopics[2].c_str(), "");
  EXPECT_STREQ(topics_.i8_AppDataReqPublishTopic.c_str(), "IOModule/Request");
  EXPECT_STREQ(topics_.i8_AppDataMultiReqPublishTopic.c_str(), "EnergyMeter/RS485/Request");
  EXPECT_STREQ(topics_.i8_AppDataMultiReqPublishTopicRS232.c_str(), "EnergyMeter/RS232/Request");
  EXPECT_STREQ(topics_.i8_AppDataMultiReqPublishTopicSNMP.c_str(), "SNMP/Request");
  EXPECT_EQ(topics_.ui16_NoOfHTTPPublishTopics, 1);
  EXPECT_STREQ(topics_.i8_HTTPSendPublishTopics[0].c_str(), "HTTPSend/AIO/Record");
}

TEST_F(TopicsConfig, WithoutAWordAboutTheSessionNothingIsSaidOfIt) {
  const Reading reading = Read(ReadTopicsConfig, "NoOfSubscribeTopics = 0; NoOfHTTPPublishTopics = 0;");
  EXPECT_EQ(reading.out.find("KeepSession"), std::string::npos) << reading.out;
  EXPECT_EQ(reading.err, "");
  EXPECT_EQ(topics_.ui16_KeepSession, 0);
}

TEST_F(TopicsConfig, TheSessionIsKeptByExactlyOne) {
  for (const int value : {0, 1}) {
    const Reading reading = Read(
        ReadTopicsConfig,
        "NoOfSubscribeTopics = 0; NoOfHTTPPublishTopics = 0; KeepSession = " + std::to_string(value) + ";");
    EXPECT_EQ(topics_.ui16_KeepSession, value);
    EXPECT_NE(reading.out.find(Number("KeepSession", value)), std::string::npos) << reading.out;
    EXPECT_EQ(reading.err, "");
  }
}

TEST_F(TopicsConfig, AnyOtherWishForTheSessionIsNamedAndCountsAsNone) {
  for (const int value : {2, -1, 65537}) {
    const Reading reading = Read(
        ReadTopicsConfig,
        "NoOfSubscribeTopics = 0; NoOfHTTPPublishTopics = 0; KeepSession = " + std::to_string(value) + ";");
    EXPECT_EQ(topics_.ui16_KeepSession, 0);
    EXPECT_EQ(reading.err, "KeepSession is " + std::to_string(value) + " in " + path_ +
                               " file, only 0 and 1 are known: 0 is used\n");
  }
}

TEST_F(TopicsConfig, WithoutSubscribeCountNoTopicIsRead) {
  const Reading reading = Read(ReadTopicsConfig,
                               "SubscribeTopic1 = \"a\"; AppDataReqPublishTopic = \"b\";"
                               "NoOfHTTPPublishTopics = 1; HTTPSendPublishTopic1 = \"c\";");
  EXPECT_EQ(reading.result, -1);
  EXPECT_EQ(reading.out, Traced(kFile, "ReadTopicsConfig", Missing("NoOfSubscribeTopics")));
  EXPECT_TRUE(topics_.i8_AppDataReqPublishTopic.empty());
  EXPECT_TRUE(topics_.i8_HTTPSendPublishTopics[0].empty());
}

TEST_F(TopicsConfig, NoSubscribeTopicsStillReadsTheOtherTopics) {
  const Reading reading = Read(ReadTopicsConfig,
                               "NoOfSubscribeTopics = 0; SubscribeTopic1 = \"a\";"
                               "AppDataReqPublishTopic = \"b\"; AppDataMultiReqPublishTopic = \"c\";"
                               "AppDataMultiReqPublishTopicRS232 = \"d\";"
                               "AppDataMultiReqPublishTopicSNMP = \"e\";"
                               "NoOfHTTPPublishTopics = 1; HTTPSendPublishTopic1 = \"f\";");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.out.find("SubscribeTopic1"), std::string::npos) << reading.out;
  EXPECT_TRUE(topics_.i8_SubscribeTopics[0].empty());
  EXPECT_STREQ(topics_.i8_AppDataReqPublishTopic.c_str(), "b");
  EXPECT_STREQ(topics_.i8_AppDataMultiReqPublishTopic.c_str(), "c");
  EXPECT_STREQ(topics_.i8_AppDataMultiReqPublishTopicRS232.c_str(), "d");
  EXPECT_STREQ(topics_.i8_AppDataMultiReqPublishTopicSNMP.c_str(), "e");
  EXPECT_STREQ(topics_.i8_HTTPSendPublishTopics[0].c_str(), "f");
}

TEST_F(TopicsConfig, WithoutHttpCountTheOtherTopicsStay) {
  const Reading reading = Read(ReadTopicsConfig,
                               "NoOfSubscribeTopics = 1; SubscribeTopic1 = \"a\";"
                               "AppDataReqPublishTopic = \"b\"; HTTPSendPublishTopic1 = \"c\";");
  EXPECT_EQ(reading.result, -1);
  EXPECT_NE(reading.out.find(Missing("NoOfHTTPPublishTopics")), std::string::npos) << reading.out;
  EXPECT_STREQ(topics_.i8_SubscribeTopics[0].c_str(), "a");
  EXPECT_STREQ(topics_.i8_AppDataReqPublishTopic.c_str(), "b");
  EXPECT_TRUE(topics_.i8_HTTPSendPublishTopics[0].empty());
}

TEST_F(TopicsConfig, AMissingTopicLeavesItsSlotAndIsReported) {
  topics_.i8_SubscribeTopics[0].Assign("old");
  const Reading reading =
      Read(ReadTopicsConfig, "NoOfSubscribeTopics = 2; SubscribeTopic2 = \"b\"; NoOfHTTPPublishTopics = 1;");
  EXPECT_EQ(reading.result, 0);
  EXPECT_NE(reading.out.find(Missing("SubscribeTopic1")), std::string::npos) << reading.out;
  EXPECT_NE(reading.out.find(Missing("HTTPSendPublishTopic1")), std::string::npos) << reading.out;
  EXPECT_STREQ(topics_.i8_SubscribeTopics[0].c_str(), "old");
  EXPECT_STREQ(topics_.i8_SubscribeTopics[1].c_str(), "b");
}

TEST_F(TopicsConfig, TopicsFillTheirSlotsAndLongerOnesAreCutAndReported) {
  const std::string hundred(100, 's');
  const std::string twoHundred(200, 'p');
  const Reading reading = Read(
      ReadTopicsConfig,
      "NoOfSubscribeTopics = 2; SubscribeTopic1 = \"" + hundred + "\"; SubscribeTopic2 = \"" + hundred +
          "x\"; AppDataReqPublishTopic = \"" + twoHundred + "x\"; AppDataMultiReqPublishTopic = \"" +
          twoHundred + "\"; NoOfHTTPPublishTopics = 1; HTTPSendPublishTopic1 = \"" + twoHundred + "x\";");
  EXPECT_EQ(topics_.i8_SubscribeTopics[0].view(), hundred);
  EXPECT_EQ(topics_.i8_SubscribeTopics[1].view(), hundred);
  EXPECT_EQ(topics_.i8_AppDataReqPublishTopic.view(), twoHundred);
  EXPECT_EQ(topics_.i8_AppDataMultiReqPublishTopic.view(), twoHundred);
  EXPECT_EQ(topics_.i8_HTTPSendPublishTopics[0].view(), twoHundred);
  EXPECT_NE(reading.out.find(Found("AppDataReqPublishTopic", twoHundred)), std::string::npos);
  EXPECT_EQ(reading.err, "'SubscribeTopic2' in " + path_ +
                             " file is longer than 100 characters and was cut\n"
                             "'AppDataReqPublishTopic' in " +
                             path_ +
                             " file is longer than 200 characters and was cut\n"
                             "'HTTPSendPublishTopic1' in " +
                             path_ + " file is longer than 200 characters and was cut\n");
}

TEST_F(TopicsConfig, TopicsWithoutASlotAreReportedAndNotRead) {
  const Reading reading = Read(ReadTopicsConfig,
                               "NoOfSubscribeTopics = 21; SubscribeTopic20 = \"a\"; SubscribeTopic21 = \"b\";"
                               "NoOfHTTPPublishTopics = 22; HTTPSendPublishTopic20 = \"c\";"
                               "HTTPSendPublishTopic21 = \"d\";");
  EXPECT_EQ(reading.result, 0);
  EXPECT_STREQ(topics_.i8_SubscribeTopics[19].c_str(), "a");
  EXPECT_STREQ(topics_.i8_HTTPSendPublishTopics[19].c_str(), "c");
  EXPECT_EQ(reading.err, "NoOfSubscribeTopics is 21 in " + path_ +
                             " file, only 20 topics are read\n"
                             "NoOfHTTPPublishTopics is 22 in " +
                             path_ + " file, only 20 topics are read\n");
}

TEST_F(TopicsConfig, FailsWhenTheTopicFileIsMissing) {
  ExpectFailureWithoutFile(ReadTopicsConfig, Traced(kFile, "ReadTopicsConfig", ""));
}

}  // namespace
}  // namespace datacollector
