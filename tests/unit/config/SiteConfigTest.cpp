#include <gtest/gtest.h>

#include <string>

#include "unit/config/SiteFileTest.h"

namespace datacollector {
namespace {

using SiteConfig = SiteFileTest;

// A file without the key is read as ever, without a word.

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
  ExpectFailureWithoutFile(ReadSiteIDCfg, "FILE:SiteConfig.cpp:LINE:N:FUNCTION:ReadSiteIDCfg:START\n");
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
