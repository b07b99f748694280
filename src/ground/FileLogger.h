// The log file: one line per event. May be used from any thread; every line opens and closes the file, so the
// system may rotate or remove it at any time.
#pragma once

namespace datacollector {

inline constexpr const char* kLogDirectory = "/tmp/Log/DataCollectorApp";
inline constexpr const char* kLogFile = "/tmp/Log/DataCollectorApp/DataCollectorLog.txt";
inline constexpr const char* kTemporaryLogFile = "/root/TempDataCollectorLogs.txt";

// The path given to InitLogFile; written once by main before any other thread exists.
extern const char* gui32_LogFileName;

// Remembers `path` and creates the log file when it is missing.
void InitLogFile(const char* path);

// Appends "<local time>: <message>" and a line end. A log that cannot be opened is not reported.
[[gnu::format(printf, 1, 2)]] void WriteLog(const char* format, ...);

// Appends "[<local time>]:<message>", reports how that went on the trace, and has the log rotated if it is
// due.
void vFileLogger(const char* message);

// The same on the temporary log file, which is not rotated.
void vFileLoggerTemp(const char* message);

// Does nothing.
void LogStub();

}  // namespace datacollector
