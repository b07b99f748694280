// The periodic write windows: which sources' publish period says that a record is due, which windows are
// open, and what happens to a period that ends without a record. Main thread.
#pragma once

#include <cstdint>

namespace datacollector {

// Marks the sources that are due at a minute (0 to 59): those whose publish interval does not divide it.
void SetWRRecordsFlags(std::uint8_t minute);

// Opens the within window of every source that has received a record which is not stored.
void OpenWithinWindows();

// Opens the after window of every source whose request was not answered in its period, and leaves a
// not-available record where no record arrived at all.
void CloseAfterWindows();

// Names on standard error, once, the enabled sources whose publish interval of 0 or less is never due.
void ReportIntervalsThatAreNeverDue();

}  // namespace datacollector
