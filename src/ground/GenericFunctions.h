// Small helpers that every subsystem uses: clocks, time stamps, sleeps, a directory check, the GPIO output.
// All may be called from any thread; none reports a failure to its caller.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>

#include "ground/CodePlace.h"
#include "ground/FixedText.h"

namespace datacollector {

// Where a helper takes its clock or its sleep from; the system's own unless a test hands in another.
using TimeSource = std::time_t (*)(std::time_t*);
using LocalTimeSource = std::tm* (*)(const std::time_t*, std::tm*);
using ClockSource = int (*)(clockid_t, timespec*);
using SleepSource = int (*)(const timespec*, timespec*);

// Writes the current local minute, "00" to "59".
void GetMinutes(char* buffer, std::size_t size);

// Writes the seconds since the Epoch. A clock that fails is asked up to 3 more times; the last value is
// written whatever it is.
void GetEpochTimeStamp(char* buffer, std::size_t size, TimeSource now = std::time);

// Writes the local time as "YYYY-MM-DD hh:mm:ss". A clock that fails is asked up to 5 more times; after that
// the buffer is left empty.
void GetTimeStamp(char* buffer, std::size_t size, TimeSource now = std::time,
                  LocalTimeSource localTime = ::localtime_r);

// The read time stamp of a record: Epoch seconds when `sinceEpoch` is 1, else local time.
void GetReadTimeStamp(TimeStampText& stamp, std::uint16_t sinceEpoch);

// Writes the local time into a time stamp.
void GetTimeStamp(TimeStampText& stamp);

// Sleeps; an interrupted sleep is not resumed. Ends the calling thread's event: the trace is written first.
void SleepInMilliSecond(std::int32_t milliseconds, SleepSource sleep = ::nanosleep);

// The lines that SleepInMilliSecond prints.
void PrintSleep(std::int32_t milliseconds);

// Sleeps whole seconds. The first argument is not used.
void Wait(const void* unused, std::int32_t seconds, SleepSource sleep = ::nanosleep);

// One reading of the monotonic clock: zero, and the error number, when it failed.
struct ClockReading {
  timespec now;
  int error;
};
ClockReading TakeMonotonicClock(ClockSource clock = ::clock_gettime);

// Prints a reading; a failed one is reported on standard error under the name of `function`.
void PrintClockReading(const ClockReading& reading, const char* function,
                       CodePlace place = CodePlace::Current());

// Milliseconds of the monotonic clock.
std::int64_t MonotonicMilliseconds();

// Takes and prints a reading. Returns its time.
timespec ReadMonotonicClock(const char* function, CodePlace place = CodePlace::Current());

// Stores the binary digits of `value`, least significant first, one per byte, at most `size` of them.
void DecToBin(std::uint8_t* buffer, std::uint32_t value, std::size_t size);

// 1: the path opens as a directory; -1: it does not exist; -2: it exists but is no directory.
int IsDirectory(const char* path);

// Writes `value` (0 or 1) to a GPIO that the system has exported as an output, through a shell. Always 0.
// With fast rounds a value that stands there is written again after a second only: a shell for each of some
// hundred records a second would take longer than the records.
int Toggle_GPIO(std::int32_t gpio, std::int32_t value);

// "AIO", "DIO" and "TEMPERATURE" for 0 to 2, the empty text for any other index.
const char* SourceKindName(std::int32_t index);

// Number of characters before the first ":" or ";" or the end of the text.
std::size_t StringArgumentCount(const char* text);

}  // namespace datacollector
