#include <gtest/gtest.h>

#include <string>

#include "unit/config/SiteFileTest.h"

namespace datacollector {
namespace {

using GenericConfig = SiteFileTest;

TEST_F(GenericConfig, ReadsTheGenericSettings) {
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

TEST_F(GenericConfig, GenericSettingsAreAllOptional) {
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

TEST_F(GenericConfig, GenericSettingsKeepTheLowSixteenBitsAndEchoThem) {
  const Reading reading =
      Read(ReadGenericConfig, "MaxAppDataReqId = 70000; MainWhileLoopSleepInterval = -1;");
  EXPECT_EQ(main_->ui16_MaxAppDataReqId, 4464);
  EXPECT_EQ(main_->ui16_MainWhileLoopSleepInterval, 65535);
  EXPECT_NE(reading.out.find(Number("MaxAppDataReqId", 4464)), std::string::npos) << reading.out;
}

TEST_F(GenericConfig, RoundsAreNotFastUnlessTheOperatorSaysSo) {
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

TEST_F(GenericConfig, ThePauseOfFastRoundsIsFromTenToBelowAThousand) {
  for (const int pause : {10, 11, 999}) {
    const Reading reading =
        Read(ReadGenericConfig, "ForwardingRoundPauseInMilliSec = " + std::to_string(pause) + ";");
    EXPECT_EQ(reading.result, 0);
    EXPECT_EQ(main_->ui16_FastRoundPause, pause);
    EXPECT_NE(reading.out.find(Number("ForwardingRoundPauseInMilliSec", pause)), std::string::npos);
    EXPECT_EQ(reading.err, "") << pause;
  }
}

TEST_F(GenericConfig, APauseOutOfRangeIsNamedAndTakenAsAThousand) {
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

TEST_F(GenericConfig, FailsWhenTheGenericFileIsMissing) {
  ExpectFailureWithoutFile(ReadGenericConfig, Traced(kFile, "ReadGenericConfig", ""));
}

}  // namespace
}  // namespace datacollector
