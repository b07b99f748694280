#include "app/WriteWindows.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "app/NotAvailableRecords.h"
#include "app/ground/Flags.h"
#include "app/ground/MainState.h"
#include "app/ground/Trace.h"

namespace datacollector {
namespace {

constexpr std::int32_t kSecondsPerMinute = 60;

// A line of a meter kind whose meters can become due.
struct DueLine {
  SourceKind kind;
  std::size_t line;
  bool printsTests;     // tells each test that it passes
  const char* message;  // %zu: meter index
};

constexpr std::array<DueLine, 4> kDueLines = {{
    {RS485, RS485Line1, false, "Write Record Flag RS485Line1 and MeterInd = %zu\n"},
    {RS485, RS485Line2, false, "Write Record Flag RS485Line2 and MeterInd = %zu\n"},
    {RS232, RS232Line1, true, "Write Record Flag RSRS232Line1 and MeterInd = %zu\n"},
    {SNMP, SNMPLine1, false, "Write Record Flag RSSNMPLine1 and MeterInd = %zu\n"},
}};

// DIO's text stands for temperature as well, as it always has.
constexpr std::array<const char*, kIoKinds> kDueMessages = {"Write Record Flag AIO", "Write Record Flag DIO",
                                                            "Write Record Flag DIO"};

struct IoWindow {
  const char* withinMessage;  // %d: within flag
  const char* afterMessage;   // %d: after flag; nullptr: none
  void (*packNotAvailable)();
};

constexpr std::array<IoWindow, kIoKinds> kIoWindows = {{
    {"\n\n *********** DBWriteFlags.gui8_WriteRecordsWithinPeriodicMinute[AIO]=%d ******** \n\n ", nullptr,
     PackAIONaData},
    {"\n\n *********** DBWriteFlags.gui8_WriteRecordsWithinPeriodicMinute[DIO]=%d ******** \n\n",
     "\n\n ******************* DBWriteFlags.gui8_WriteRecordsAfterPeriodicMinute[DIO]=%d "
     "*******************\n\n",
     PackDIONaData},
    {"\n\n *********** DBWriteFlags.gui8_WriteRecordsWithinPeriodicMinute[TEMPERATURE]=%d ******** \n\n",
     "\n\n ******************* DBWriteFlags.gui8_WriteRecordsAfterPeriodicMinute[TEMPERATURE]=%d "
     "*******************\n\n",
     PackTemperatureNaData},
}};

struct MeterWindow {
  SourceKind kind;
  std::int32_t SourceCounts::*lines;
  void (*packNotAvailable)(std::size_t line, std::size_t meter);  // nullptr: the kind has none
};

constexpr std::array<MeterWindow, 3> kMeterWindows = {{
    {RS485, &SourceCounts::gi32_TotalNumRS485EnSrces, PackRS485NaData},
    {RS232, &SourceCounts::gi32_TotalNumRS232EnSrces, PackRS232NaData},
    {SNMP, &SourceCounts::gi32_TotalNumSNMPEnSrces, nullptr},
}};

const DataCollectorSourcesConfig& Sources() { return gMainState.DataCollectorSourcesConfig; }

std::size_t Bounded(std::int32_t count, std::size_t bound) {
  return std::min(static_cast<std::size_t>(std::max(count, 0)), bound);
}

std::size_t CountedIoKinds() { return Bounded(SrcFlags.gi32_TotalNumEnSrces, kIoKinds); }

std::size_t CountedLines(SourceKind kind) {
  for (const MeterWindow& window : kMeterWindows) {
    if (window.kind == kind) {
      return Bounded(SrcFlags.*window.lines, SizeOfMeterTable(kind).lines);
    }
  }
  return 0;
}

std::size_t CountedMeters(SourceKind kind, std::size_t line) {
  return Bounded(MetersInLine(Sources(), kind, line), SizeOfMeterTable(kind).meters);
}

// The remainder decides, not the multiple: a source is due at the minutes that its interval does not divide.
// Gateways in the field are configured for that.
bool IsDueAt(std::uint8_t minute, std::int32_t interval) {
  return interval > 0 && (minute * kSecondsPerMinute) % interval != 0;
}

void MarkDueLine(const DueLine& due, std::uint8_t minute) {
  const auto printTest = [&due](const char* text) {
    if (due.printsTests) {
      PrintLine(text);
    }
  };
  if (due.line >= CountedLines(due.kind)) {
    return;
  }
  printTest("Inside loop");
  printTest("Inside case RS232Line1");
  if (!IsLineEnabled(Sources(), due.kind, due.line)) {
    return;
  }
  printTest("Inside case RS232Line1 enable flag");
  if (!IsDueAt(minute, PublishInterval(Sources(), due.kind, due.line))) {
    return;
  }
  printTest("Inside case RS232Line1 publish interval");
  for (std::size_t meter = 0; meter < CountedMeters(due.kind, due.line); ++meter) {
    DBWriteFlags.At(due.kind, meter, due.line).gui8_WriteRecordsDue = 1;
    Print(due.message, meter);
  }
}

// The meter loops test the I/O kind whose index is the line's, not the line itself: within windows of line 1
// follow AIO, those of line 2 DIO, those of line 3 temperature.
bool IsIoKindOfLineEnabled(std::size_t line) { return Sources().i32_DataSourcesEnableFlags[line][0] == 1; }

void OpenMeterWithinWindows(SourceKind kind) {
  for (std::size_t meter = 0; meter < SizeOfMeterTable(kind).meters; ++meter) {
    for (std::size_t line = 0; line < CountedLines(kind); ++line) {
      if (!IsIoKindOfLineEnabled(line) || RecordFlags.At(kind, meter, line) != 1) {
        continue;
      }
      ByteFlag& within = DBWriteFlags.At(kind, meter, line).gui8_WriteRecordsWithinPeriodicMinute;
      within = 1;
      Print("\n\n *********** DBWriteFlags.gui8_%sWriteRecordsWithinPeriodicMinute[%zu][%zu]=%d******** \n\n",
            kKindWord[kind], meter, line, within.load());
    }
  }
}

// A request is out, its period is over, and nothing was written: closes the period and opens the after
// window.
bool OpenAfterWindow(PeriodicWindow& window) {
  if (window.gui8_WriteRecordsRequested != 1 || window.gui8_WriteRecordsDue != 1 ||
      window.gui8_PeriodicRecordsWritten != 0 || window.gui8_WriteRecordsWithinPeriodicMinute != 0) {
    return false;
  }
  window.gui8_WriteRecordsDue = 0;
  window.gui8_WriteRecordsRequested = 0;
  window.gui8_WriteRecordsAfterPeriodicMinute = 1;
  return true;
}

void CloseIoWindow(std::size_t kind) {
  PeriodicWindow& window = DBWriteFlags.io[kind];
  if (!OpenAfterWindow(window)) {
    return;
  }
  const std::uint8_t after = window.gui8_WriteRecordsAfterPeriodicMinute;
  if (kIoWindows[kind].afterMessage != nullptr) {
    Print(kIoWindows[kind].afterMessage, after);
  }
  if (RecordFlags.io[kind] == 0) {
    kIoWindows[kind].packNotAvailable();
  }
  Print(
      "DBWriteFlags.gui8_WriteRecordsAfterPeriodicMinute[%zu] = %d, "
      "DBWriteFlags.gui8_WriteRecordsWithinPeriodicMinute[%zu] = %d\n",
      kind, after, kind, window.gui8_WriteRecordsWithinPeriodicMinute.load());
}

void CloseMeterWindow(const MeterWindow& row, std::size_t meter, std::size_t line) {
  PeriodicWindow& window = DBWriteFlags.At(row.kind, meter, line);
  const char* word = kKindWord[row.kind];
  if (OpenAfterWindow(window)) {
    Print(
        "\n\n ******************* DBWriteFlags.gui8_%sWriteRecordsAfterPeriodicMinute[%zu][%zu]=%d "
        "*******************\n\n",
        word, meter, line, window.gui8_WriteRecordsAfterPeriodicMinute.load());
    if (row.packNotAvailable != nullptr && RecordFlags.At(row.kind, meter, line) == 0) {
      row.packNotAvailable(line, meter);
    }
  }
  Print(
      "DBWriteFlags.gui8_%sWriteRecordsAfterPeriodicMinute[%zu][%zu] = %d, "
      "DBWriteFlags.gui8_%sWriteRecordsWithinPeriodicMinute[%zu][%zu] = %d\n",
      word, meter, line, window.gui8_WriteRecordsAfterPeriodicMinute.load(), word, meter, line,
      window.gui8_WriteRecordsWithinPeriodicMinute.load());
}

void ReportIfNeverDue(SourceKind kind, std::size_t line) {
  const std::int32_t interval = PublishInterval(Sources(), kind, line);
  if (interval > 0 || !IsLineEnabled(Sources(), kind, line)) {
    return;
  }
  if (IsMeterKind(kind)) {
    PrintError("%s line %zu: a publish interval of %d seconds is never due\n", kKindWord[kind], line + 1,
               interval);
  } else {
    PrintError("%s: a publish interval of %d seconds is never due\n", kKindWord[kind], interval);
  }
}

}  // namespace

void SetWRRecordsFlags(std::uint8_t minute) {
  const FunctionTrace trace(__func__);
  Print("ui8_WRMinute = %d\n", minute);
  for (std::size_t kind = 0; kind < CountedIoKinds(); ++kind) {
    const auto source = static_cast<SourceKind>(kind);
    if (IsSourceEnabled(Sources(), source) && IsDueAt(minute, PublishInterval(Sources(), source))) {
      DBWriteFlags.io[kind].gui8_WriteRecordsDue = 1;
      PrintLine(kDueMessages[kind]);
    }
  }
  for (const DueLine& due : kDueLines) {
    MarkDueLine(due, minute);
  }
}

void OpenWithinWindows() {
  for (std::size_t kind = 0; kind < kIoKinds; ++kind) {
    if (IsSourceEnabled(Sources(), static_cast<SourceKind>(kind)) && RecordFlags.io[kind] == 1) {
      ByteFlag& within = DBWriteFlags.io[kind].gui8_WriteRecordsWithinPeriodicMinute;
      within = 1;
      Print(kIoWindows[kind].withinMessage, within.load());
    }
  }
  for (const MeterWindow& window : kMeterWindows) {
    OpenMeterWithinWindows(window.kind);
  }
}

void CloseAfterWindows() {
  for (std::size_t kind = 0; kind < kIoKinds; ++kind) {
    if (IsSourceEnabled(Sources(), static_cast<SourceKind>(kind))) {
      CloseIoWindow(kind);
    }
  }
  for (const MeterWindow& window : kMeterWindows) {
    for (std::size_t meter = 0; meter < SizeOfMeterTable(window.kind).meters; ++meter) {
      for (std::size_t line = 0; line < CountedLines(window.kind); ++line) {
        if (IsLineEnabled(Sources(), window.kind, line) && meter < CountedMeters(window.kind, line)) {
          CloseMeterWindow(window, meter, line);
        }
      }
    }
  }
}

void ReportIntervalsThatAreNeverDue() {
  for (const SourceKind kind : kAllKinds) {
    const std::size_t lines = kind == RS485 ? kRs485StoredLines : 1;
    for (std::size_t line = 0; line < lines; ++line) {
      ReportIfNeverDue(kind, line);
    }
  }
}

}  // namespace datacollector
