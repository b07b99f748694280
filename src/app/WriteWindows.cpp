#include "app/WriteWindows.h"

#include <array>
#include <cstddef>
#include <span>

#include "app/NotAvailableRecords.h"
#include "ground/Flags.h"
#include "ground/MainState.h"
#include "ground/Numbers.h"
#include "ground/Trace.h"

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

// DIO's text stands for temperature as well: the one module reads both.
struct IoWindow {
  SourceKind kind;
  const char* dueMessage;
  const char* withinMessage;  // %d: within flag
  const char* afterMessage;   // %d: after flag; nullptr: none
};

constexpr auto kIoWindows = IoKindTable<IoWindow>({
    {AIO, "Write Record Flag AIO",
     "\n\n *********** DBWriteFlags.gui8_WriteRecordsWithinPeriodicMinute[AIO]=%d ******** \n\n ", nullptr},
    {DIO, "Write Record Flag DIO",
     "\n\n *********** DBWriteFlags.gui8_WriteRecordsWithinPeriodicMinute[DIO]=%d ******** \n\n",
     "\n\n ******************* DBWriteFlags.gui8_WriteRecordsAfterPeriodicMinute[DIO]=%d "
     "*******************\n\n"},
    {TEMPERATURE, "Write Record Flag DIO",
     "\n\n *********** DBWriteFlags.gui8_WriteRecordsWithinPeriodicMinute[TEMPERATURE]=%d ******** \n\n",
     "\n\n ******************* DBWriteFlags.gui8_WriteRecordsAfterPeriodicMinute[TEMPERATURE]=%d "
     "*******************\n\n"},
});

struct MeterWindow {
  SourceKind kind;
  std::int32_t SourceCounts::*lines;
};

constexpr auto kMeterWindows = MeterKindTable<MeterWindow>({
    {RS485, &SourceCounts::gi32_TotalNumRS485EnSrces},
    {RS232, &SourceCounts::gi32_TotalNumRS232EnSrces},
    {SNMP, &SourceCounts::gi32_TotalNumSNMPEnSrces},
});

const DataCollectorSourcesConfig& Sources() { return gMainState.DataCollectorSourcesConfig; }

std::size_t CountedLines(SourceKind kind) {
  return Bounded(SrcFlags.*kMeterWindows[kind - kIoKinds].lines, kKinds[kind].lines);
}

std::size_t CountedMeters(SourceKind kind, std::size_t line) {
  return Bounded(MetersInLine(Sources(), kind, line), kKinds[kind].meters);
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
  for (std::size_t meter = 0; meter < kKinds[kind].meters; ++meter) {
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

void CloseIoWindow(const IoWindow& row) {
  const SourceKind kind = row.kind;
  PeriodicWindow& window = DBWriteFlags.At(kind);
  if (!OpenAfterWindow(window)) {
    return;
  }
  const std::uint8_t after = window.gui8_WriteRecordsAfterPeriodicMinute;
  if (row.afterMessage != nullptr) {
    Print(row.afterMessage, after);
  }
  if (RecordFlags.At(kind) == 0) {
    PackNotAvailable(kind);
  }
  Print(
      "DBWriteFlags.gui8_WriteRecordsAfterPeriodicMinute[%zu] = %d, "
      "DBWriteFlags.gui8_WriteRecordsWithinPeriodicMinute[%zu] = %d\n",
      static_cast<std::size_t>(kind), after, static_cast<std::size_t>(kind),
      window.gui8_WriteRecordsWithinPeriodicMinute.load());
}

void CloseMeterWindow(SourceKind kind, std::size_t meter, std::size_t line) {
  PeriodicWindow& window = DBWriteFlags.At(kind, meter, line);
  const char* word = kKindWord[kind];
  if (OpenAfterWindow(window)) {
    Print(
        "\n\n ******************* DBWriteFlags.gui8_%sWriteRecordsAfterPeriodicMinute[%zu][%zu]=%d "
        "*******************\n\n",
        word, meter, line, window.gui8_WriteRecordsAfterPeriodicMinute.load());
    if (RecordFlags.At(kind, meter, line) == 0) {
      PackNotAvailable(kind, line, meter);
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
  for (const IoWindow& window :
       std::span(kIoWindows).first(Bounded(SrcFlags.gi32_TotalNumEnSrces, kIoKinds))) {
    if (IsSourceEnabled(Sources(), window.kind) && IsDueAt(minute, PublishInterval(Sources(), window.kind))) {
      DBWriteFlags.At(window.kind).gui8_WriteRecordsDue = 1;
      PrintLine(window.dueMessage);
    }
  }
  for (const DueLine& due : kDueLines) {
    MarkDueLine(due, minute);
  }
}

void OpenWithinWindows() {
  for (const IoWindow& window : kIoWindows) {
    if (IsSourceEnabled(Sources(), window.kind) && RecordFlags.At(window.kind) == 1) {
      ByteFlag& within = DBWriteFlags.At(window.kind).gui8_WriteRecordsWithinPeriodicMinute;
      within = 1;
      Print(window.withinMessage, within.load());
    }
  }
  for (const MeterWindow& window : kMeterWindows) {
    OpenMeterWithinWindows(window.kind);
  }
}

void CloseAfterWindows() {
  for (const IoWindow& window : kIoWindows) {
    if (IsSourceEnabled(Sources(), window.kind)) {
      CloseIoWindow(window);
    }
  }
  for (const MeterWindow& window : kMeterWindows) {
    for (std::size_t meter = 0; meter < kKinds[window.kind].meters; ++meter) {
      for (std::size_t line = 0; line < CountedLines(window.kind); ++line) {
        if (IsLineEnabled(Sources(), window.kind, line) && meter < CountedMeters(window.kind, line)) {
          CloseMeterWindow(window.kind, meter, line);
        }
      }
    }
  }
}

void ReportIntervalsThatAreNeverDue() {
  for (const SourceKind kind : kAllKinds) {
    for (std::size_t line = 0; line < kKinds[kind].storedLines; ++line) {
      ReportIfNeverDue(kind, line);
    }
  }
}

}  // namespace datacollector
