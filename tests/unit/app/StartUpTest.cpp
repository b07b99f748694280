#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <string>

#include "app/ControlLoop.h"
#include "app/StartUp.h"
#include "ground/FileLogger.h"
#include "ground/Flags.h"
#include "ground/MainState.h"
#include "support/CaptureOutput.h"
#include "support/ExampleGateway.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

std::string Traced(const std::string& text) {
  return datacollector::Traced("StartUp.cpp", "CreateDataCollectorDataBases", text);
}

// The function of each kind, in what it prints, and in what it logs.
struct CreationWords {
  SourceKind kind;
  const char* creator;
  const char* printed;
  const char* logged;
};
constexpr std::array<CreationWords, kSourceKinds> kWords = {{
    {AIO, "CreateAIDB", "AIODB", "AIODB"},
    {DIO, "CreateDIODB", "DIODB", "DIO DB"},
    {TEMPERATURE, "CreateTemperatureDB", "TemperatureDB", "Temperature DB"},
    {RS485, "CreateRS485DB", "rs-485 DB", "rs-485 DB"},
    {RS232, "CreateRS232DB", "rs-232 DB", "rs-232 DB"},
    {SNMP, "CreateSNMPDB", "SNMP DB", "SNMP DB"},
}};

class StartUp : public ExampleGateway {
 protected:
  static std::string Create() {
    CapturedOutput output;
    EXPECT_EQ(CreateDataCollectorDataBases(gMainState), 0);
    return Folded(output.Out(), {"CreateDataCollectorDataBases"});
  }
  static std::string Printed(const CreationWords& words) {
    return std::string("Creating first time ") + words.printed + "\n<GetTimeStamp>\n<" + words.creator +
           ">\n";
  }
  static std::string Logged(const CreationWords& words) {
    return std::string("T: CreateDataCollectorDataBases:Creating first time ") + words.logged + "\n";
  }
  static constexpr const char* kSuccess = "T: CreateDataCollectorDataBases:Success\n";
};

TEST_F(StartUp, EveryMissingDatabaseIsCreatedInItsOrder) {
  const std::string out = Create();
  std::string printed;
  std::string logged;
  for (const CreationWords& words : kWords) {
    printed += Printed(words);
    logged += Logged(words);
    EXPECT_EQ(RowsOf(words.kind).size(), 0U);
  }
  EXPECT_EQ(out, Traced(printed + "<GetTimeStamp>\n"));
  EXPECT_EQ(LogText(), logged + kSuccess);
}

TEST_F(StartUp, ADatabaseThatIsThereIsLeftAsItIs) {
  for (const CreationWords& present : kWords) {
    std::filesystem::remove_all(kDataFolder);
    std::filesystem::remove(kLogFile);
    std::filesystem::create_directories(std::string(kDataFolder) + "/Db");
    WriteFile(DatabaseOf(present.kind), "not even a database");
    std::string printed;
    std::string logged;
    for (const CreationWords& words : kWords) {
      printed += words.kind == present.kind ? "" : Printed(words);
      logged += words.kind == present.kind ? "" : Logged(words);
    }
    EXPECT_EQ(Create(), Traced(printed + "<GetTimeStamp>\n"));
    EXPECT_EQ(LogText(), logged + kSuccess);
    EXPECT_EQ(ReadFile(DatabaseOf(present.kind)), "not even a database");
  }
}

TEST_F(StartUp, ADatabaseFileOfTheFutureIsThere) {
  MakeAllTables();
  const timespec future{2209032000, 0};  // 2040-01-01 12:00:00 UTC
  ASSERT_EQ(::utimensat(AT_FDCWD, DatabaseOf(AIO).c_str(), std::array{future, future}.data(), 0), 0);
  EXPECT_EQ(Create(), Traced("<GetTimeStamp>\n"));
}

TEST_F(StartUp, ADatabaseFileOfThreeGigabytesIsThere) {
  MakeAllTables();
  std::filesystem::resize_file(DatabaseOf(AIO), 3'000'000'000);
  EXPECT_EQ(Create(), Traced("<GetTimeStamp>\n"));
}

TEST_F(StartUp, WithEveryDatabaseThereOnlyTheSuccessIsLogged) {
  MakeAllTables();
  EXPECT_EQ(Create(), Traced("<GetTimeStamp>\n"));
  EXPECT_EQ(LogText(), kSuccess);
}

TEST_F(StartUp, ADatabaseThatCannotBeCreatedIsNoFailure) {
  for (const CreationWords& words : kWords) {
    gMainState.DataCollectorDBConfig[words.kind].i8_DatabaseName.Assign("/nowhere/at/all.db");
  }
  Create();
  EXPECT_NE(LogText().find(kSuccess), std::string::npos);
}

TEST(GlobalVariables, StartAtZero) {
  gMainState.ui16_MaxAppDataReqId = 7;
  CloudConnectSendFlags[SNMP].gui8_SendDCDBRecordFlags = 1;
  gi32_HTTPThreadSendFlag = 1;
  CapturedOutput output;
  Initialize_GlobalVariables();
  EXPECT_EQ(gMainState.ui16_MaxAppDataReqId, 0);
  EXPECT_EQ(CloudConnectSendFlags[SNMP].gui8_SendDCDBRecordFlags, 0);
  EXPECT_EQ(gi32_HTTPThreadSendFlag, 0);
  EXPECT_EQ(Folded(output.Out()), "<Initialize_GlobalVariables>\n");
}

TEST_F(StartUp, TheMainLoopReturnsWhenTheMqttClientCannotBeStarted) {
  gMainState.DataCollectorMqttTopics.i8_SubscribeTopics[0].Assign("a/#/b");
  CapturedOutput output;
  EXPECT_EQ(DataCollector_Publish_Handler(), -1);
  const std::string line = "FILE:ControlLoop.cpp:LINE:N:FUNCTION:DataCollector_Publish_Handler";
  EXPECT_EQ(Folded(output.Out(), {"DataCollector_Publish_Handler"}),
            line +
                ":START\n<Mosquitto_Initialization>\n"
                "Failure: Mosquitto_Initialization, So returning from Main thread\n" +
                line + ":END\n");
}

}  // namespace
}  // namespace datacollector
