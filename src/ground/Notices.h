// What an operator must learn even when nobody reads the trace: readings that are lost, put aside or
// disputed. Every notice is one line on standard error and in the log file.
//
// A flood of them stays readable and cheap: a notice of a kind that follows the one before too soon is
// counted and comes out with a later line, at the latest when FlushNotices finds it due. Any thread may call
// these.
#pragma once

#include <cstdint>

#include "ground/GenericFunctions.h"
#include "ground/SourceKind.h"

namespace datacollector {

// "<KIND> record lost: <reason>". At most one line a second and kind; a line ends with " (and <n> more)" for
// those that came since the line before and have none of their own.
void ReportLostRecord(SourceKind kind, const char* reason, ClockSource clock = ::clock_gettime);

// "<KIND> confirmation fits no row: record <n>, <time>", at the same pace.
void ReportMisfitConfirmation(SourceKind kind, std::int32_t record, const char* time,
                              ClockSource clock = ::clock_gettime);

// "<KIND> unsent records evicted: <total>": the first at once, then at most one line a minute and kind with
// the newest total.
void ReportEvictedRecords(SourceKind kind, std::uint32_t total, ClockSource clock = ::clock_gettime);

// Says what was left out and is due by now. From time to time, while the process runs. Keeper thread.
void FlushNotices(ClockSource clock = ::clock_gettime);

// Says all that was left out, due or not. When the process ends.
void FlushAllNotices(ClockSource clock = ::clock_gettime);

}  // namespace datacollector
