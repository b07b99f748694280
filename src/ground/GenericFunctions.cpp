#include "ground/GenericFunctions.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "ground/KindShape.h"
#include "ground/RoundBell.h"
#include "ground/Shell.h"
#include "ground/Trace.h"

namespace datacollector {
namespace {

constexpr int kEpochRetries = 3;
constexpr int kLocalTimeRetries = 5;

// One reading of the local time; false when the clock or the conversion failed.
bool ReadLocalTime(std::tm& local, TimeSource now, LocalTimeSource localTime) {
  const std::time_t seconds = now(nullptr);
  return seconds != -1 && localTime(&seconds, &local) != nullptr;
}

void SleepOnce(const timespec& length, SleepSource sleep, const char* function, CodePlace place) {
  FlushTrace();
  if (sleep(&length, nullptr) != 0) {
    const int error = errno;
    PrintError("FILE:%s:LINE:%d:FUNCTION:%s: => Error: 'nanosleep' sleep Failed : %s : Error Number:%d\n",
               SourceFileName(place), place.line, function, std::strerror(error), error);
  }
}

timespec LengthOf(std::int32_t milliseconds) {
  timespec length{};
  length.tv_sec = milliseconds / 1000;
  length.tv_nsec = (milliseconds % 1000) * 1000000L;
  return length;
}

constexpr std::int64_t kGpioWriteApart = 1000;  // milliseconds

// False for a value that the calling thread has just written.
bool MayWriteAgain(std::int32_t gpio, std::int32_t value) {
  struct Write {
    std::int32_t gpio;
    std::int32_t value;
    std::int64_t time;
  };
  thread_local Write last{-1, 0, 0};
  const std::int64_t now = MonotonicMilliseconds();
  if (last.gpio == gpio && last.value == value && now - last.time < kGpioWriteApart) {
    return false;
  }
  last = {gpio, value, now};
  return true;
}

}  // namespace

void GetMinutes(char* buffer, std::size_t size) {
  const FunctionTrace trace(__func__);
  std::tm local{};
  ReadLocalTime(local, std::time, ::localtime_r);
  std::snprintf(buffer, size, "%02d", local.tm_min);
  Print("Success: Current minute = %s\n", buffer);
}

void GetEpochTimeStamp(char* buffer, std::size_t size, TimeSource now) {
  const FunctionTrace trace(__func__);
  std::time_t seconds = now(nullptr);
  for (int attempt = 0; seconds == -1 && attempt < kEpochRetries; ++attempt) {
    Print("Failure: time() returned -1 so retrying %d time\n", attempt);
    seconds = now(nullptr);
  }
  std::snprintf(buffer, size, "%lld", static_cast<long long>(seconds));
  Print("Success: Current System TimeStamp = %s\n", buffer);
}

void GetTimeStamp(char* buffer, std::size_t size, TimeSource now, LocalTimeSource localTime) {
  const FunctionTrace trace(__func__);
  std::tm local{};
  bool valid = ReadLocalTime(local, now, localTime);
  for (int attempt = 0; !valid && attempt < kLocalTimeRetries; ++attempt) {
    Print("Failure: localtime returned NULL/-1 so retrying %d time\n", attempt);
    valid = ReadLocalTime(local, now, localTime);
  }
  buffer[0] = '\0';
  if (valid) {
    std::snprintf(buffer, size, "%04d-%02d-%02d %02d:%02d:%02d", local.tm_year + 1900, local.tm_mon + 1,
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
  }
  Print("Success: Current System TimeStamp = %s\n", buffer);
}

void GetReadTimeStamp(TimeStampText& stamp, std::uint16_t sinceEpoch) {
  stamp.Clear();
  if (sinceEpoch == 1) {
    GetEpochTimeStamp(stamp.characters.data(), stamp.characters.size());
  } else {
    GetTimeStamp(stamp);
  }
}

void GetTimeStamp(TimeStampText& stamp) {
  stamp.Clear();
  GetTimeStamp(stamp.characters.data(), stamp.characters.size());
}

void PrintSleep(std::int32_t milliseconds) {
  const timespec length = LengthOf(milliseconds);
  Print("slptm.tv_sec = %lld\n", static_cast<long long>(length.tv_sec));
  Print("slptm.tv_nsec = %ld\n", length.tv_nsec);
  Print("Sleeping for %d milliseconds\n", milliseconds);
}

void SleepInMilliSecond(std::int32_t milliseconds, SleepSource sleep) {
  PrintSleep(milliseconds);
  SleepOnce(LengthOf(milliseconds), sleep, __func__, CodePlace::Current());
}

void Wait(const void* /*unused*/, std::int32_t seconds, SleepSource sleep) {
  const FunctionTrace trace(__func__);
  PrintLine("Wait Function Called...");
  timespec length{};
  length.tv_sec = seconds;
  SleepOnce(length, sleep, __func__, CodePlace::Current());
}

ClockReading TakeMonotonicClock(ClockSource clock) {
  ClockReading reading{};
  if (clock(CLOCK_MONOTONIC, &reading.now) != 0) {
    return {{}, errno};
  }
  return reading;
}

std::int64_t MonotonicMilliseconds() {
  const timespec now = TakeMonotonicClock().now;
  return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

void PrintClockReading(const ClockReading& reading, const char* function, CodePlace place) {
  if (reading.error != 0) {
    PrintError("FILE:%s:LINE:%d:FUNCTION:%s: => Error: clock_gettime %s : Error Number:%d\n",
               SourceFileName(place), place.line, function, std::strerror(reading.error), reading.error);
    return;
  }
  PrintLine("clock_gettime() successful");
  Print("CurrentTime sec = %lld,  nsec = %ld \n", static_cast<long long>(reading.now.tv_sec),
        reading.now.tv_nsec);
}

timespec ReadMonotonicClock(const char* function, CodePlace place) {
  const ClockReading reading = TakeMonotonicClock();
  PrintClockReading(reading, function, place);
  return reading.now;
}

void DecToBin(std::uint8_t* buffer, std::uint32_t value, std::size_t size) {
  const FunctionTrace trace(__func__);
  if (value == 0) {
    std::fill_n(buffer, size, std::uint8_t{0});
    return;
  }
  Print("Binary converted value of decimal number '%u' is ", value);
  for (std::size_t digit = 0; value > 0 && digit < size; ++digit, value /= 2) {
    buffer[digit] = static_cast<std::uint8_t>(value % 2);
    PrintText(buffer[digit] == 1 ? "1" : "0");
  }
  PrintText("\n");
}

int IsDirectory(const char* path) {
  if (::access(path, F_OK) != 0) {
    return -1;
  }
  DIR* directory = ::opendir(path);
  if (directory == nullptr) {
    return -2;
  }
  ::closedir(directory);
  return 1;
}

int Toggle_GPIO(std::int32_t gpio, std::int32_t value) {
  const FunctionTrace trace(__func__);
  if (FastRounds() && !MayWriteAgain(gpio, value)) {
    return 0;
  }
  std::array<char, 100> command{};
  std::snprintf(command.data(), command.size(), "echo \"%d\" > /sys/class/gpio/gpio%d/value", value, gpio);
  RunShellCommand(command.data());
  return 0;
}

const char* SourceKindName(std::int32_t index) {
  const FunctionTrace trace(__func__);
  return index >= 0 && static_cast<std::size_t>(index) < kIoKinds
             ? kKindIndexWord[static_cast<std::size_t>(index)]
             : "";
}

std::size_t StringArgumentCount(const char* text) { return std::strcspn(text, ":;"); }

}  // namespace datacollector
