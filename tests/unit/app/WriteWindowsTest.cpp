// Opening and closing of the write windows.
#include <gtest/gtest.h>

#include <array>
#include <ostream>
#include <string>

#include "app/WriteWindows.h"
#include "ground/Flags.h"
#include "ground/MainState.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

class Windows : public ::testing::Test {
 protected:
  // The I/O kinds enabled and counted; of the meter kinds no line is.
  Windows() {
    ZeroMainState(gMainState);
    ZeroFlags();
    for (std::size_t kind = 0; kind < kIoKinds; ++kind) {
      sources_.i32_DataSourcesEnableFlags[kind][0] = 1;
    }
    SrcFlags = {3, 4, 1, 1};
  }
  ~Windows() override {
    ZeroMainState(gMainState);
    ZeroFlags();
  }

  static std::string Open() {
    CapturedOutput output;
    OpenWithinWindows();
    return Folded(output.Out());
  }
  static std::string Close() {
    CapturedOutput output;
    CloseAfterWindows();
    return Folded(output.Out());
  }

  // A request is out and its period is over.
  static void Request(PeriodicWindow& window) {
    window.gui8_WriteRecordsDue = 1;
    window.gui8_WriteRecordsRequested = 1;
  }

  DataCollectorSourcesConfig& sources_ = gMainState.DataCollectorSourcesConfig;
};

// The text of AIO alone ends with a blank.
TEST_F(Windows, ARecordThatIsNotStoredOpensTheWithinWindowOfItsIoKind) {
  for (const SourceKind kind : {AIO, DIO, TEMPERATURE}) {
    RecordFlags.At(kind) = 1;
  }
  const std::string text = "\n\n *********** DBWriteFlags.gui8_WriteRecordsWithinPeriodicMinute";
  EXPECT_EQ(Open(), text + "[AIO]=1 ******** \n\n " + text + "[DIO]=1 ******** \n\n" + text +
                        "[TEMPERATURE]=1 ******** \n\n");
  for (const SourceKind kind : {AIO, DIO, TEMPERATURE}) {
    EXPECT_EQ(DBWriteFlags.At(kind).gui8_WriteRecordsWithinPeriodicMinute, 1);
  }
}

TEST_F(Windows, ADisabledIoKindOpensNoWindow) {
  sources_.i32_DataSourcesEnableFlags[DIO][0] = 0;
  RecordFlags.At(DIO) = 1;
  EXPECT_EQ(Open(), "");
  EXPECT_EQ(DBWriteFlags.At(DIO).gui8_WriteRecordsWithinPeriodicMinute, 0);
}

TEST_F(Windows, WithoutARecordNoWindowOpens) {
  EXPECT_EQ(Open(), "");
  RecordFlags.At(AIO) = 2;
  EXPECT_EQ(Open(), "");
}

// Line 1 goes by AIO, line 2 by DIO, line 3 by temperature; whether the meter line itself is enabled plays no
// part.
TEST_F(Windows, TheMeterLoopsTestTheIoKindOfTheLinesNumber) {
  for (std::size_t line = 0; line < 4; ++line) {
    RecordFlags.At(RS485, 99, line) = 1;
  }
  sources_.i32_DataSourcesRS485EnableFlags = {};
  sources_.i32_DataSourcesEnableFlags[DIO][0] = 0;
  const std::string text = "\n\n *********** DBWriteFlags.gui8_RS485WriteRecordsWithinPeriodicMinute";
  EXPECT_EQ(Open(), text + "[99][0]=1******** \n\n" + text + "[99][2]=1******** \n\n");
  EXPECT_EQ(DBWriteFlags.At(RS485, 99, 0).gui8_WriteRecordsWithinPeriodicMinute, 1);
  EXPECT_EQ(DBWriteFlags.At(RS485, 99, 1).gui8_WriteRecordsWithinPeriodicMinute, 0);
  EXPECT_EQ(DBWriteFlags.At(RS485, 99, 2).gui8_WriteRecordsWithinPeriodicMinute, 1);
  EXPECT_EQ(DBWriteFlags.At(RS485, 99, 3).gui8_WriteRecordsWithinPeriodicMinute, 0);
}

TEST_F(Windows, AnEnabledMeterLineOpensNothingWithoutItsIoKind) {
  sources_.i32_DataSourcesEnableFlags = {};
  sources_.i32_DataSourcesRS485EnableFlags[0][0] = 1;
  sources_.i32_DataSourcesRS232EnableFlags[0][0] = 1;
  sources_.i32_DataSourcesSNMPEnableFlags[0][0] = 1;
  RecordFlags.At(RS485, 0, 0) = 1;
  RecordFlags.At(RS232, 0, 0) = 1;
  RecordFlags.At(SNMP, 0, 0) = 1;
  EXPECT_EQ(Open(), "");
}

TEST_F(Windows, Rs232AndSnmpGoByAio) {
  RecordFlags.At(RS232, 9, 0) = 1;
  RecordFlags.At(SNMP, 9, 0) = 1;
  EXPECT_EQ(Open(),
            "\n\n *********** DBWriteFlags.gui8_RS232WriteRecordsWithinPeriodicMinute[9][0]=1******** \n\n"
            "\n\n *********** DBWriteFlags.gui8_SNMPWriteRecordsWithinPeriodicMinute[9][0]=1******** \n\n");
  EXPECT_EQ(DBWriteFlags.At(RS232, 9, 0).gui8_WriteRecordsWithinPeriodicMinute, 1);
  EXPECT_EQ(DBWriteFlags.At(SNMP, 9, 0).gui8_WriteRecordsWithinPeriodicMinute, 1);
}

TEST_F(Windows, LinesThatAreNotCountedAreNotLookedAt) {
  SrcFlags = {3, 1, 0, 0};
  RecordFlags.At(RS485, 0, 1) = 1;
  RecordFlags.At(RS232, 0, 0) = 1;
  RecordFlags.At(SNMP, 0, 0) = 1;
  EXPECT_EQ(Open(), "");
}

struct IoClosing {
  const char* name;
  SourceKind kind;
  const char* text;  // of the after window
  const char* packer;

  friend void PrintTo(const IoClosing& value, std::ostream* out) { *out << value.name; }
};

class IoWindows : public Windows, public ::testing::WithParamInterface<IoClosing> {
 protected:
  std::string Closed(const std::string& packed) const {
    const std::string index = "[" + std::to_string(GetParam().kind) + "]";
    return GetParam().text + packed + "DBWriteFlags.gui8_WriteRecordsAfterPeriodicMinute" + index +
           " = 1, DBWriteFlags.gui8_WriteRecordsWithinPeriodicMinute" + index + " = 0\n";
  }
  PeriodicWindow& window_ = DBWriteFlags.At(GetParam().kind);
};

TEST_P(IoWindows, AnUnansweredRequestOpensTheAfterWindowAndLeavesANotAvailableRecord) {
  Request(window_);
  EXPECT_EQ(Close(), Closed(std::string("<") + GetParam().packer + ">\n"));
  EXPECT_EQ(window_.gui8_WriteRecordsDue, 0);
  EXPECT_EQ(window_.gui8_WriteRecordsRequested, 0);
  EXPECT_EQ(window_.gui8_WriteRecordsAfterPeriodicMinute, 1);
  EXPECT_FALSE(gMainState.DataCollectorDBData.i8_IoRecord[GetParam().kind].empty());
}

TEST_P(IoWindows, ARecordThatArrivedIsNotReplaced) {
  Request(window_);
  RecordFlags.At(GetParam().kind) = 1;
  EXPECT_EQ(Close(), Closed(""));
  EXPECT_TRUE(gMainState.DataCollectorDBData.i8_IoRecord[GetParam().kind].empty());
}

TEST_P(IoWindows, EveryPartOfTheConditionIsNeeded) {
  for (ByteFlag PeriodicWindow::*cleared :
       {&PeriodicWindow::gui8_WriteRecordsDue, &PeriodicWindow::gui8_WriteRecordsRequested}) {
    Request(window_);
    window_.*cleared = 0;
    EXPECT_EQ(Close(), "");
  }
  for (ByteFlag PeriodicWindow::*raised : {&PeriodicWindow::gui8_PeriodicRecordsWritten,
                                           &PeriodicWindow::gui8_WriteRecordsWithinPeriodicMinute}) {
    Request(window_);
    window_.*raised = 1;
    EXPECT_EQ(Close(), "");
    window_.*raised = 0;
  }
  EXPECT_EQ(window_.gui8_WriteRecordsAfterPeriodicMinute, 0);
  Request(window_);
  sources_.i32_DataSourcesEnableFlags[GetParam().kind][0] = 0;
  EXPECT_EQ(Close(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, IoWindows,
    ::testing::Values(
        IoClosing{"AIO", AIO, "", "PackAIONaData"},
        IoClosing{"DIO", DIO,
                  "\n\n ******************* DBWriteFlags.gui8_WriteRecordsAfterPeriodicMinute[DIO]=1 "
                  "*******************\n\n",
                  "PackDIONaData"},
        IoClosing{"Temperature", TEMPERATURE,
                  "\n\n ******************* DBWriteFlags.gui8_WriteRecordsAfterPeriodicMinute[TEMPERATURE]=1 "
                  "*******************\n\n",
                  "PackTemperatureNaData"}),
    [](const auto& closing) { return std::string(closing.param.name); });

struct MeterClosing {
  const char* word;
  SourceKind kind;
  const char* packer;  // the line that it folds to; empty: the kind has none

  friend void PrintTo(const MeterClosing& value, std::ostream* out) { *out << value.word; }
};

class MeterWindows : public Windows, public ::testing::WithParamInterface<MeterClosing> {
 protected:
  // One line with two meters.
  MeterWindows() {
    sources_.i32_DataSourcesRS485EnableFlags[0][0] = GetParam().kind == RS485 ? 1 : 0;
    sources_.i32_NoOfEMetersInLine[0] = 2;
    sources_.i32_DataSourcesRS232EnableFlags[0][0] = GetParam().kind == RS232 ? 1 : 0;
    sources_.i32_NoOfRS232EMetersInLine[0] = 2;
    sources_.i32_DataSourcesSNMPEnableFlags[0][0] = GetParam().kind == SNMP ? 1 : 0;
    sources_.i32_NoOfSNMPDevicesInLine[0] = 2;
  }

  std::string Opened(int meter, const std::string& packed) const {
    return std::string("\n\n ******************* DBWriteFlags.gui8_") + GetParam().word +
           "WriteRecordsAfterPeriodicMinute[" + std::to_string(meter) + "][0]=1 *******************\n\n" +
           packed;
  }
  // Printed for every meter of an enabled line.
  std::string State(int meter, int after, int within = 0) const {
    const std::string place = "[" + std::to_string(meter) + "][0] = ";
    const std::string name = std::string("DBWriteFlags.gui8_") + GetParam().word + "WriteRecords";
    return name + "AfterPeriodicMinute" + place + std::to_string(after) + ", " + name +
           "WithinPeriodicMinute" + place + std::to_string(within) + "\n";
  }
  PeriodicWindow& Window(std::size_t meter) const { return DBWriteFlags.At(GetParam().kind, meter, 0); }
};

TEST_P(MeterWindows, TheStateOfEveryMeterOfAnEnabledLineIsPrinted) {
  Window(0).gui8_WriteRecordsWithinPeriodicMinute = 1;
  EXPECT_EQ(Close(), State(0, 0, 1) + State(1, 0));
}

TEST_P(MeterWindows, AnUnansweredRequestOpensTheAfterWindow) {
  Request(Window(1));
  EXPECT_EQ(Close(), State(0, 0) + Opened(1, GetParam().packer) + State(1, 1));
  EXPECT_EQ(Window(1).gui8_WriteRecordsDue, 0);
  EXPECT_EQ(Window(1).gui8_WriteRecordsRequested, 0);
  EXPECT_EQ(Window(1).gui8_WriteRecordsAfterPeriodicMinute, 1);
}

TEST_P(MeterWindows, ARecordThatArrivedIsNotReplaced) {
  Request(Window(1));
  RecordFlags.At(GetParam().kind, 1, 0) = 1;
  EXPECT_EQ(Close(), State(0, 0) + Opened(1, "") + State(1, 1));
}

TEST_P(MeterWindows, APeriodThatWasServedStaysAsItIs) {
  Request(Window(0));
  Window(0).gui8_PeriodicRecordsWritten = 1;
  EXPECT_EQ(Close(), State(0, 0) + State(1, 0));
  EXPECT_EQ(Window(0).gui8_WriteRecordsDue, 1);
}

TEST_P(MeterWindows, AMeterThatTheLineDoesNotHaveIsSkipped) {
  Request(Window(2));
  EXPECT_EQ(Close(), State(0, 0) + State(1, 0));
  EXPECT_EQ(Window(2).gui8_WriteRecordsDue, 1);
}

TEST_P(MeterWindows, ADisabledLineIsSkipped) {
  sources_.i32_DataSourcesRS485EnableFlags = {};
  sources_.i32_DataSourcesRS232EnableFlags = {};
  sources_.i32_DataSourcesSNMPEnableFlags = {};
  Request(Window(0));
  EXPECT_EQ(Close(), "");
}

TEST_P(MeterWindows, ALineThatIsNotCountedIsSkipped) {
  SrcFlags = {3, 0, 0, 0};
  Request(Window(0));
  EXPECT_EQ(Close(), "");
}

INSTANTIATE_TEST_SUITE_P(Kinds, MeterWindows,
                         ::testing::Values(MeterClosing{"RS485", RS485, "<PackRS485NaData>\n"},
                                           MeterClosing{"RS232", RS232, "<PackRS232NaData>\n"},
                                           MeterClosing{"SNMP", SNMP, ""}),
                         [](const auto& closing) { return std::string(closing.param.word); });

TEST_F(Windows, TheNotAvailableRecordOfAMeterIsThatOfItsLine) {
  sources_.i32_DataSourcesRS485EnableFlags[1][0] = 1;
  sources_.i32_NoOfEMetersInLine[1] = 100;
  Request(DBWriteFlags.At(RS485, 99, 1));
  Close();
  EXPECT_FALSE(gMainState.DataCollectorDBData.i8_MeterRecord.At(RS485, 99, 1).empty());
  EXPECT_TRUE(gMainState.DataCollectorDBData.i8_MeterRecord.At(RS485, 99, 0).empty());
}

}  // namespace
}  // namespace datacollector
