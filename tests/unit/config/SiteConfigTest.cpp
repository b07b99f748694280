#include <gtest/gtest.h>

#include <string>

#include "config/SiteConfig.h"
#include "unit/config/ConfigTest.h"

namespace datacollector {
namespace {

constexpr const char* kFile = "SiteConfig.cpp";

class SiteConfig : public ConfigTest {
 protected:
  using Reader = int (*)(DataCollectorMainStructure&, const char*);
  Reading Read(Reader reader, const std::string& text) {
    path_ = Write("file.cfg", text);
    return ReadThere(reader);
  }
  Reading ReadMissing(Reader reader) {
    path_ = PathOf("missing.cfg");
    return ReadThere(reader);
  }
  std::string Missing(const std::string& key) const {
    return "No '" + key + "' setting in " + path_ + " file\n";
  }
  std::string Found(const std::string& key, const std::string& value) const {
    return "value at setting " + key + " in " + path_ + " file is = " + value + "\n";
  }

  DataCollectorMqttTopics& topics_ = main_->DataCollectorMqttTopics;
  struct DataCollectorSiteConfig& site_ = main_->DataCollectorSiteConfig;
  struct PackingIdentity& packing_ = main_->PackingIdentity;
  std::string path_;

 private:
  Reading ReadThere(Reader reader) {
    return Captured([&] { return reader(*main_, path_.c_str()); });
  }
};

std::string Number(const std::string& key, int value) {
  return key + " = " + key + ", and Value = " + std::to_string(value) + "\n";
}

TEST_F(SiteConfig, ReadsTheGenericSettings) {
  const Reading reading = Read(ReadGenericConfig, R"(
MainWhileLoopSleepInterval = 100;
IntervalBetweenEachAppDataReq = 2;
MaxAppDataReqId = 1000;
DCDBPublishRetryInterval = 30;
DCDBReadTimeStampInSecSinceEpoch = 1;
CustomerDataBaseReadWriteUpdateEnable = 3;
MaintenanceMode = 4;
)");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.err, "");
  EXPECT_EQ(reading.out,
            Traced(kFile, "ReadGenericConfig",
                   Number("MainWhileLoopSleepInterval", 100) + Number("IntervalBetweenEachAppDataReq", 2) +
                       Number("MaxAppDataReqId", 1000) + Number("DCDBPublishRetryInterval", 30) +
                       Number("DCDBReadTimeStampInSecSinceEpoch", 1) +
                       "CUSTOMER_DB_READ_WR_UPD_EN = CustomerDataBaseReadWriteUpdateEnable, and Value = 3\n"
                       "Maintenance mode = MaintenanceMode, and Value = 4\n"));
  EXPECT_EQ(main_->ui16_MainWhileLoopSleepInterval, 100);
  EXPECT_EQ(main_->ui16_IntervalBetweenEachAppDataReq, 2);
  EXPECT_EQ(main_->ui16_MaxAppDataReqId, 1000);
  EXPECT_EQ(main_->ui16_DCDBPublishRetryInterval, 30);
  EXPECT_EQ(main_->ui16_DCDBReadTimeStampInSecSinceEpoch, 1);
  EXPECT_EQ(main_->ui16_CustomerDataBaseReadWriteUpdateEnable, 3);
  EXPECT_EQ(main_->ui16_MaintenanceMode, 4);
}

TEST_F(SiteConfig, GenericSettingsAreAllOptional) {
  main_->ui16_MaxAppDataReqId = 9;
  const Reading reading = Read(ReadGenericConfig, "");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.out,
            Traced(kFile, "ReadGenericConfig",
                   Missing("MainWhileLoopSleepInterval") + Missing("IntervalBetweenEachAppDataReq") +
                       Missing("MaxAppDataReqId") + Missing("DCDBPublishRetryInterval") +
                       Missing("DCDBReadTimeStampInSecSinceEpoch") +
                       Missing("CustomerDataBaseReadWriteUpdateEnable") + Missing("MaintenanceMode")));
  EXPECT_EQ(main_->ui16_MaxAppDataReqId, 9);
}

TEST_F(SiteConfig, GenericSettingsKeepTheLowSixteenBitsAndEchoThem) {
  const Reading reading =
      Read(ReadGenericConfig, "MaxAppDataReqId = 70000; MainWhileLoopSleepInterval = -1;");
  EXPECT_EQ(main_->ui16_MaxAppDataReqId, 4464);
  EXPECT_EQ(main_->ui16_MainWhileLoopSleepInterval, 65535);
  EXPECT_NE(reading.out.find(Number("MaxAppDataReqId", 4464)), std::string::npos) << reading.out;
}

// A file without the key is read as ever, without a word.
TEST_F(SiteConfig, RoundsAreNotFastUnlessTheOperatorSaysSo) {
  const std::string without = Read(ReadGenericConfig, "").out;
  EXPECT_EQ(main_->ui16_FastRoundPause, 0);
  EXPECT_EQ(without.find("ForwardingRoundPauseInMilliSec"), std::string::npos);
  for (const int pause : {0, 1000}) {
    const Reading reading =
        Read(ReadGenericConfig, "ForwardingRoundPauseInMilliSec = " + std::to_string(pause) + ";");
    EXPECT_EQ(main_->ui16_FastRoundPause, 0) << pause;
    EXPECT_NE(reading.out.find(Number("ForwardingRoundPauseInMilliSec", pause)), std::string::npos);
    EXPECT_EQ(reading.err, "") << pause;
  }
}

TEST_F(SiteConfig, ThePauseOfFastRoundsIsFromTenToBelowAThousand) {
  for (const int pause : {10, 11, 999}) {
    const Reading reading =
        Read(ReadGenericConfig, "ForwardingRoundPauseInMilliSec = " + std::to_string(pause) + ";");
    EXPECT_EQ(reading.result, 0);
    EXPECT_EQ(main_->ui16_FastRoundPause, pause);
    EXPECT_NE(reading.out.find(Number("ForwardingRoundPauseInMilliSec", pause)), std::string::npos);
    EXPECT_EQ(reading.err, "") << pause;
  }
}

TEST_F(SiteConfig, APauseOutOfRangeIsNamedAndTakenAsAThousand) {
  for (const int pause : {-1, 1, 9, 1001, 65546, -65526}) {
    main_->ui16_FastRoundPause = 10;
    const Reading reading =
        Read(ReadGenericConfig, "ForwardingRoundPauseInMilliSec = " + std::to_string(pause) + ";");
    EXPECT_EQ(reading.result, 0);
    EXPECT_EQ(main_->ui16_FastRoundPause, 0) << pause;
    EXPECT_NE(reading.out.find(Number("ForwardingRoundPauseInMilliSec", 1000)), std::string::npos);
    EXPECT_EQ(reading.err, "ForwardingRoundPauseInMilliSec is " + std::to_string(pause) + " in " + path_ +
                               " file, neither 0 nor 10 to 1000: it counts as 1000\n");
  }
}

TEST_F(SiteConfig, FailsWhenTheGenericFileIsMissing) {
  const Reading reading = ReadMissing(ReadGenericConfig);
  EXPECT_EQ(reading.result, -1);
  EXPECT_EQ(reading.out, Traced(kFile, "ReadGenericConfig", ""));
  EXPECT_EQ(reading.err, path_ + ":0 - file I/O error\n");
}

TEST_F(SiteConfig, ReadsTheTopics) {
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

TEST_F(SiteConfig, WithoutAWordAboutTheSessionNothingIsSaidOfIt) {
  const Reading reading = Read(ReadTopicsConfig, "NoOfSubscribeTopics = 0; NoOfHTTPPublishTopics = 0;");
  EXPECT_EQ(reading.out.find("KeepSession"), std::string::npos) << reading.out;
  EXPECT_EQ(reading.err, "");
  EXPECT_EQ(topics_.ui16_KeepSession, 0);
}

TEST_F(SiteConfig, TheSessionIsKeptByExactlyOne) {
  for (const int value : {0, 1}) {
    const Reading reading = Read(
        ReadTopicsConfig,
        "NoOfSubscribeTopics = 0; NoOfHTTPPublishTopics = 0; KeepSession = " + std::to_string(value) + ";");
    EXPECT_EQ(topics_.ui16_KeepSession, value);
    EXPECT_NE(reading.out.find(Number("KeepSession", value)), std::string::npos) << reading.out;
    EXPECT_EQ(reading.err, "");
  }
}

TEST_F(SiteConfig, AnyOtherWishForTheSessionIsNamedAndCountsAsNone) {
  for (const int value : {2, -1, 65537}) {
    const Reading reading = Read(
        ReadTopicsConfig,
        "NoOfSubscribeTopics = 0; NoOfHTTPPublishTopics = 0; KeepSession = " + std::to_string(value) + ";");
    EXPECT_EQ(topics_.ui16_KeepSession, 0);
    EXPECT_EQ(reading.err, "KeepSession is " + std::to_string(value) + " in " + path_ +
                               " file, only 0 and 1 are known: 0 is used\n");
  }
}

TEST_F(SiteConfig, WithoutSubscribeCountNoTopicIsRead) {
  const Reading reading = Read(ReadTopicsConfig,
                               "SubscribeTopic1 = \"a\"; AppDataReqPublishTopic = \"b\";"
                               "NoOfHTTPPublishTopics = 1; HTTPSendPublishTopic1 = \"c\";");
  EXPECT_EQ(reading.result, -1);
  EXPECT_EQ(reading.out, Traced(kFile, "ReadTopicsConfig", Missing("NoOfSubscribeTopics")));
  EXPECT_TRUE(topics_.i8_AppDataReqPublishTopic.empty());
  EXPECT_TRUE(topics_.i8_HTTPSendPublishTopics[0].empty());
}

TEST_F(SiteConfig, NoSubscribeTopicsStillReadsTheOtherTopics) {
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

TEST_F(SiteConfig, WithoutHttpCountTheOtherTopicsStay) {
  const Reading reading = Read(ReadTopicsConfig,
                               "NoOfSubscribeTopics = 1; SubscribeTopic1 = \"a\";"
                               "AppDataReqPublishTopic = \"b\"; HTTPSendPublishTopic1 = \"c\";");
  EXPECT_EQ(reading.result, -1);
  EXPECT_NE(reading.out.find(Missing("NoOfHTTPPublishTopics")), std::string::npos) << reading.out;
  EXPECT_STREQ(topics_.i8_SubscribeTopics[0].c_str(), "a");
  EXPECT_STREQ(topics_.i8_AppDataReqPublishTopic.c_str(), "b");
  EXPECT_TRUE(topics_.i8_HTTPSendPublishTopics[0].empty());
}

TEST_F(SiteConfig, AMissingTopicLeavesItsSlotAndIsReported) {
  topics_.i8_SubscribeTopics[0].Assign("old");
  const Reading reading =
      Read(ReadTopicsConfig, "NoOfSubscribeTopics = 2; SubscribeTopic2 = \"b\"; NoOfHTTPPublishTopics = 1;");
  EXPECT_EQ(reading.result, 0);
  EXPECT_NE(reading.out.find(Missing("SubscribeTopic1")), std::string::npos) << reading.out;
  EXPECT_NE(reading.out.find(Missing("HTTPSendPublishTopic1")), std::string::npos) << reading.out;
  EXPECT_STREQ(topics_.i8_SubscribeTopics[0].c_str(), "old");
  EXPECT_STREQ(topics_.i8_SubscribeTopics[1].c_str(), "b");
}

TEST_F(SiteConfig, TopicsFillTheirSlotsAndLongerOnesAreCutAndReported) {
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

TEST_F(SiteConfig, TopicsWithoutASlotAreReportedAndNotRead) {
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

TEST_F(SiteConfig, FailsWhenTheTopicFileIsMissing) {
  const Reading reading = ReadMissing(ReadTopicsConfig);
  EXPECT_EQ(reading.result, -1);
  EXPECT_EQ(reading.out, Traced(kFile, "ReadTopicsConfig", ""));
  EXPECT_EQ(reading.err, path_ + ":0 - file I/O error\n");
}

TEST_F(SiteConfig, ReadsTheSiteForItselfAndForPacking) {
  const Reading reading = Read(ReadSiteIDCfg, R"(
SiteIDEnable = 1;
DeviceIDEnable = 2;
SiteID = "SITE01";
DeviceID = "GW0001";
FailureDataCharacter = "F";
OverallRecordstartmark = "<";
OverallRecordendmark = ">";
MaxNumberofRegisters = 6;
)");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.err, "");
  EXPECT_EQ(reading.out,
            Traced(kFile, "ReadSiteIDCfg",
                   "SiteID = SiteIDEnable, and Value = 1\nSiteIDEnable : 1\n"
                   "DeviceIDEnable = DeviceIDEnable, and Value = 2\nDeviceIDEnable : 2\n"
                   "SiteID : SITE01\nDeviceID : GW0001\n" +
                       Found("FailureDataCharacter", "F") + Found("OverallRecordendmark", "<") +
                       Found("OverallRecordendmark", ">") +
                       "psDataCollectorMainStructure->DataCollectorSiteConfig.Maxnumberofregister = 6\n"));
  EXPECT_EQ(site_.SiteIDEnable, 1);
  EXPECT_EQ(site_.DeviceIDEnable, 2);
  EXPECT_STREQ(site_.SiteID, "SITE01");
  EXPECT_STREQ(site_.DeviceID, "GW0001");
  EXPECT_STREQ(site_.FailureDataCharacter, "F");
  EXPECT_STREQ(site_.OverallRecordstartmark, "<");
  EXPECT_STREQ(site_.OverallRecordendmark, ">");
  EXPECT_EQ(site_.Maxnumberofregister, 6);
  EXPECT_EQ(packing_.gi32_SiteIDEnable, 1);
  EXPECT_EQ(packing_.gi32_DeviceIDEnable, 2);
  EXPECT_STREQ(packing_.gi8_SiteID.c_str(), "SITE01");
  EXPECT_STREQ(packing_.gi8_DeviceID.c_str(), "GW0001");
  EXPECT_STREQ(packing_.gi8_OverallRecordStartMark.c_str(), "<");
  EXPECT_STREQ(packing_.gi8_OverallRecordEndMark.c_str(), ">");
}

TEST_F(SiteConfig, AMissingSiteFilePrintsNoEndLine) {
  const Reading reading = ReadMissing(ReadSiteIDCfg);
  EXPECT_EQ(reading.result, -1);
  EXPECT_EQ(reading.out, "FILE:SiteConfig.cpp:LINE:N:FUNCTION:ReadSiteIDCfg:START\n");
  EXPECT_EQ(reading.err, path_ + ":0 - file I/O error\n");
}

TEST_F(SiteConfig, WithoutTheSiteSwitchNothingOfTheSiteIsRead) {
  const Reading reading = Read(ReadSiteIDCfg, "DeviceIDEnable = 1; SiteID = \"SITE01\";");
  EXPECT_EQ(reading.result, -1);
  EXPECT_EQ(reading.out, Traced(kFile, "ReadSiteIDCfg", Missing("SiteIDEnable")));
  EXPECT_EQ(site_.DeviceIDEnable, 0);
  EXPECT_EQ(site_.SiteID, nullptr);
}

TEST_F(SiteConfig, WithoutTheDeviceSwitchOnlyTheSiteSwitchIsRead) {
  const Reading reading = Read(ReadSiteIDCfg, R"(SiteIDEnable = 1; SiteID = "SITE01"; DeviceID = "GW0001";)");
  EXPECT_EQ(reading.result, -1);
  EXPECT_NE(reading.out.find(Missing("DeviceIDEnable")), std::string::npos) << reading.out;
  EXPECT_EQ(site_.SiteIDEnable, 1);
  EXPECT_EQ(packing_.gi32_SiteIDEnable, 1);
  EXPECT_EQ(site_.SiteID, nullptr);
  EXPECT_EQ(site_.DeviceID, nullptr);
  EXPECT_TRUE(packing_.gi8_SiteID.empty());
}

TEST_F(SiteConfig, MissingSiteTextsStayEmpty) {
  const Reading reading = Read(ReadSiteIDCfg, "SiteIDEnable = 0; DeviceIDEnable = 0;");
  EXPECT_EQ(reading.result, 0);
  EXPECT_NE(reading.out.find(Missing("SiteID") + Missing("DeviceID") + Missing("FailureDataCharacter") +
                             Missing("OverallRecordstartmark") + Missing("OverallRecordendmark") +
                             "Fail to read parameter 'MaxNumberofRegisters'\n"),
            std::string::npos)
      << reading.out;
  EXPECT_EQ(site_.FailureDataCharacter, nullptr);
  EXPECT_EQ(site_.Maxnumberofregister, 0);
}

TEST_F(SiteConfig, PackingCutsAnIdentityToAFieldAndReportsIt) {
  const std::string longest(511, 'i');
  const Reading reading = Read(ReadSiteIDCfg, "SiteIDEnable = 1; DeviceIDEnable = 1; SiteID = \"" + longest +
                                                  "x\"; DeviceID = \"" + longest + "\";");
  EXPECT_EQ(site_.SiteID, longest + "x");
  EXPECT_EQ(packing_.gi8_SiteID.view(), longest);
  EXPECT_EQ(packing_.gi8_DeviceID.view(), longest);
  EXPECT_EQ(reading.err, "'SiteID' in " + path_ + " file is longer than 511 characters and was cut\n");
}

TEST_F(SiteConfig, ReadsTheVersions) {
  const Reading reading = Read(ReadSoftwareVersionCfg, R"(SoftwareVer = "1.0.0"; OruVer = "ORU2";)");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.out,
            Traced(kFile, "ReadSoftwareVersionCfg", Found("SoftwareVer", "1.0.0") + Found("OruVer", "ORU2")));
  EXPECT_STREQ(main_->SoftwareVer, "1.0.0");
  EXPECT_STREQ(main_->OruVer, "ORU2");
}

TEST_F(SiteConfig, VersionsAreOptional) {
  const Reading reading = Read(ReadSoftwareVersionCfg, "");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.out, Traced(kFile, "ReadSoftwareVersionCfg", Missing("SoftwareVer") + Missing("OruVer")));
  EXPECT_EQ(main_->SoftwareVer, nullptr);
  EXPECT_EQ(main_->OruVer, nullptr);
}

TEST_F(SiteConfig, FailsWhenTheVersionFileIsMissing) {
  const Reading reading = ReadMissing(ReadSoftwareVersionCfg);
  EXPECT_EQ(reading.result, -1);
  EXPECT_EQ(reading.err, path_ + ":0 - file I/O error\n");
}

}  // namespace
}  // namespace datacollector
