#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sys/vfs.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "config/LibConfigRead.h"
#include "support/Golden.h"
#include "unit/config/ConfigTest.h"

namespace datacollector {
namespace {

constexpr const char* kGoldenFolder = "tests/unit/config/golden";
constexpr const char* kSources = "/root/SourceAppComponent/etc/Config/DataSourcesConfig.cfg";
constexpr const char* kDevices = "/root/EnergyMeterAppComponent/etc/Config/RS485DeviceConfig.cfg";
constexpr const char* kOwnFolder = "/root/DataCollectorAppComponent/etc/Config/";

// Reading at the fixed paths: the example configuration is put below /root, so this needs a root file system
// of its own.
class LibConfigRead : public ConfigTest {
 protected:
  void SetUp() override {
    struct statfs root {};
    ASSERT_EQ(::statfs("/root", &root), 0);
    ASSERT_EQ(root.f_type, TMPFS_MAGIC) << "run inside scripts/private-root.sh";
    const std::filesystem::path example = DATACOLLECTOR_SOURCE_DIR "/gateway/Config/root";
    for (const auto& component : std::filesystem::directory_iterator(example)) {
      const std::filesystem::path target = "/root" / component.path().filename();
      std::filesystem::remove_all(target);
      std::filesystem::copy(component, target, std::filesystem::copy_options::recursive);
      components_.push_back(target);
    }
  }
  void TearDown() override {
    for (const std::filesystem::path& component : components_) {
      std::filesystem::remove_all(component);
    }
  }

  Reading Read() {
    return Captured([&] { return ReadConfig(*main_); });
  }

  // Puts a text in place of a file, or a file out of the way.
  static void Replace(const std::string& path, const std::string& text) { std::ofstream(path) << text; }
  static void Remove(const std::string& path) { std::filesystem::remove(path); }

  const DataCollectorSourcesConfig& sources_ = main_->DataCollectorSourcesConfig;

 private:
  std::vector<std::filesystem::path> components_;
};

// Nothing of the other files is in the main state.
void ExpectOnlySources(const DataCollectorMainStructure& main, const Reading& reading) {
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.out.find("ReadGenericConfig"), std::string::npos) << reading.out;
  EXPECT_EQ(main.ui16_MainWhileLoopSleepInterval, 0);
  EXPECT_EQ(main.DataCollectorMqttTopics.ui16_NoOfSubscribeTopics, 0);
  EXPECT_EQ(main.DataCollectorSiteConfig.SiteID, nullptr);
  EXPECT_EQ(main.DataCollectorDBConfig[AIO].ui16_NoOfColumns, 0);
  EXPECT_EQ(main.DataCollectorDBParams[AIO].ui16_MaxReadTry, 0);
  EXPECT_EQ(main.SoftwareVer, nullptr);
  EXPECT_EQ(main.DataCollectorSourcesConfig.MeterID[0], 0);
}

TEST_F(LibConfigRead, PrintsTheExampleConfigurationAsAccepted) {
  const Reading reading = Read();
  EXPECT_EQ(reading.result, 0);
  ExpectGolden(kGoldenFolder, "example.stdout.golden", reading.out);
  ExpectGolden(kGoldenFolder, "example.stderr.golden", reading.err);
}

TEST_F(LibConfigRead, TheExampleConfigurationMissesOnlyTheTopicsWithoutMeaning) {
  const Reading reading = Read();
  std::vector<std::string> missing;
  for (std::size_t at = reading.out.find("No '"); at != std::string::npos;
       at = reading.out.find("No '", at)) {
    at += 4;
    missing.push_back(reading.out.substr(at, reading.out.find('\'', at) - at));
  }
  EXPECT_EQ(missing, (std::vector<std::string>{"SubscribeTopic18", "SubscribeTopic19"}));
}

TEST_F(LibConfigRead, TheExampleConfigurationFillsTheMainState) {
  Read();
  for (const SourceKind kind : kAllKinds) {
    SCOPED_TRACE(kKindWord[kind]);
    EXPECT_TRUE(IsSourceEnabled(sources_, kind));
    EXPECT_EQ(PublishInterval(sources_, kind), 60);
    const DatabaseConfig& config = main_->DataCollectorDBConfig[kind];
    const DatabaseParams& params = main_->DataCollectorDBParams[kind];
    EXPECT_EQ(config.i8_DatabaseName.view(), params.i8_DatabaseName.view());
    EXPECT_EQ(config.i8_TableName.view(), params.i8_TableName.view());
    EXPECT_STREQ(config.i8_RecordNumber.c_str(), "RecordNumber");
    EXPECT_STREQ(config.i8_ColumnNames[0].c_str(), "StartMark");
    EXPECT_EQ(config.ui16_MAXRecords, 1000);
    EXPECT_EQ(config.i32_DatabaseAccessWaitInterval, 1);
    EXPECT_EQ(config.ui16_MaxDatabaseAccessRetry, 3);
    EXPECT_EQ(params.ui16_MaxReadTry, 3);
    EXPECT_EQ(params.ui16_RecordNumberIndex, IsMeterKind(kind) ? 3 : 4);
    EXPECT_EQ(params.ui16_RecordTimeStampIndex, IsMeterKind(kind) ? 2 : 3);
    EXPECT_STREQ(params.i8_RecordWriteTimeColumn.c_str(), "RecordReadTime");
    EXPECT_STREQ(params.i8_RecordReadTimeColumn.c_str(), "RecordReadTime");
  }
  EXPECT_EQ(main_->DataCollectorDBConfig[AIO].ui16_NoOfColumns, 21);
  EXPECT_EQ(main_->DataCollectorDBConfig[DIO].ui16_NoOfColumns, 21);
  EXPECT_EQ(main_->DataCollectorDBConfig[TEMPERATURE].ui16_NoOfColumns, 21);
  EXPECT_EQ(main_->DataCollectorDBConfig[RS485].ui16_NoOfColumns, 31);
  EXPECT_EQ(main_->DataCollectorDBConfig[RS232].ui16_NoOfColumns, 30);
  EXPECT_EQ(main_->DataCollectorDBConfig[SNMP].ui16_NoOfColumns, 27);
  EXPECT_EQ(main_->ui16_MainWhileLoopSleepInterval, 100);
  EXPECT_EQ(main_->DataCollectorMqttTopics.ui16_NoOfSubscribeTopics, 20);
  EXPECT_STREQ(main_->DataCollectorSiteConfig.SiteID, "SITE01");
  EXPECT_STREQ(main_->OruVer, "ORU2");
}

TEST_F(LibConfigRead, WithoutTheDataSourceFileNothingElseIsRead) {
  Remove(kSources);
  const Reading reading = Read();
  ExpectOnlySources(*main_, reading);
  EXPECT_EQ(reading.err, std::string(kSources) + ":0 - file I/O error\n");
  EXPECT_EQ(reading.out,
            Traced("LibConfigRead.cpp", "ReadConfig", Traced("SourcesConfig.cpp", "ReadSourcesConfig", "")));
}

TEST_F(LibConfigRead, WithoutTheDatabaseCountNothingElseIsRead) {
  Replace(kSources,
          "NoOfSources = 3; NoOfEMeterRS485DataSources = 4; NoOfEMeterRS232DataSources = 1;"
          "NoOfSNMPDataSources = 1; AIODataSourceEnable = 1;");
  const Reading reading = Read();
  ExpectOnlySources(*main_, reading);
  EXPECT_EQ(sources_.i32_No_Of_Sources, 3);
  EXPECT_EQ(sources_.i32_DataSourcesEnableFlags[AIO][0], 0);
}

TEST_F(LibConfigRead, AFailingReaderDoesNotStopTheOthers) {
  for (const auto& file : std::filesystem::directory_iterator(kOwnFolder)) {
    Remove(file.path());
  }
  Remove("/root/FixedPacketAppComponent/etc/Config/FixedPacketConfig.cfg");
  const Reading reading = Read();
  EXPECT_EQ(reading.result, 0);
  EXPECT_STREQ(main_->SoftwareVer, "1.0.0");
  EXPECT_NE(sources_.MeterID[0], 0);
}

TEST_F(LibConfigRead, TheMetersOwnFileReplacesTheMeterCounts) {
  Replace(kDevices, "NoOfDevices = 7;");
  Read();
  EXPECT_EQ(sources_.i32_NoOfEMetersInLine[0], 7);
  EXPECT_EQ(sources_.i32_NoOfEMetersInLine[3], 7);
}

TEST_F(LibConfigRead, WithoutTheMetersOwnFileTheMeterCountsStay) {
  Remove(kDevices);
  const Reading reading = Read();
  EXPECT_EQ(sources_.i32_NoOfEMetersInLine[0], 4);
  EXPECT_TRUE(reading.err.ends_with(std::string(kDevices) + ":0 - file I/O error\n")) << reading.err;
}

TEST_F(LibConfigRead, OpensTheDioColumnFileAtItsDoubledSlash) {
  const Reading reading = Read();
  EXPECT_NE(reading.out.find("Configuration file "
                             "'/root/DataCollectorAppComponent/etc/Config//DIOPerDatabaseColumnsConfig.cfg' "
                             "opened successfully\n"),
            std::string::npos);
}

}  // namespace
}  // namespace datacollector
