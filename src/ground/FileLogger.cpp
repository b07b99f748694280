#include "ground/FileLogger.h"

#include <sys/stat.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <memory>

#include "ground/FixedText.h"
#include "ground/GenericFunctions.h"
#include "ground/Shell.h"
#include "ground/Trace.h"

namespace datacollector {
namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// Close-on-exec, so that no shell command inherits the log.
File OpenForAppending(const char* path) { return File(std::fopen(path, "a+e")); }

// False when the file can't be opened.
bool AppendMessage(const char* path, const char* message) {
  const File file = OpenForAppending(path);
  if (!file) {
    Print("Can not open log file '%s'\n", path);
    PrintSystemError("open");
    return false;
  }
  TimeStampText stamp;
  GetTimeStamp(stamp);
  FixedText<2047> line;
  line.Format("[%s]:%s\n", stamp.c_str(), message);
  if (std::fputs(line.c_str(), file.get()) >= 0 && std::fflush(file.get()) == 0) {
    Print("Message Written into File '%s' Successfully\n", path);
  } else {
    Print("Can not write message into file '%s'\n", path);
  }
  return true;
}

// The log as one thread has it open. A thread that hangs in it, on a pipe that nobody reads, holds up no
// other one.
class OpenLog {
 public:
  // nullptr when it can't be opened. A log that was rotated away, or removed, is opened anew.
  std::FILE* Get() {
    struct stat named {};
    const bool same = file_ && ::stat(kLogFile, &named) == 0 && named.st_dev == opened_.st_dev &&
                      named.st_ino == opened_.st_ino;
    if (!same) {
      file_ = OpenForAppending(kLogFile);
      if (file_ && ::fstat(::fileno(file_.get()), &opened_) != 0) {
        opened_ = {};
      }
    }
    return file_.get();
  }

  // What a full disk does not take is gone, and does not stand before the next line.
  void EndLine() {
    if (std::fflush(file_.get()) != 0) {
      file_.reset();
    }
  }

 private:
  File file_;
  struct stat opened_ {};
};

}  // namespace

const char* gui32_LogFileName = nullptr;

void InitLogFile(const char* path) {
  gui32_LogFileName = path;
  OpenForAppending(kLogFile);
}

void WriteLog(const char* format, ...) {
  thread_local OpenLog log;
  std::FILE* const file = log.Get();
  std::array<char, 512> stamp{};
  GetTimeStamp(stamp.data(), stamp.size());
  if (file == nullptr) {
    return;
  }
  std::fprintf(file, "%s: ", stamp.data());
  std::va_list arguments;
  va_start(arguments, format);
  std::vfprintf(file, format, arguments);
  va_end(arguments);
  std::fputc('\n', file);
  log.EndLine();
}

void vFileLogger(const char* message) {
  FunctionTrace trace(__func__);
  if (!AppendMessage(kLogFile, message)) {
    trace.SkipEnd();
    return;
  }
  FixedText<255> command;
  command.Format("%s %s", "logrotate", "/etc/logrotate.d/DataCollectorLogrotateConfig");
  RunShellCommand(command.c_str());
}

void vFileLoggerTemp(const char* message) {
  FunctionTrace trace(__func__);
  if (!AppendMessage(kTemporaryLogFile, message)) {
    trace.SkipEnd();
  }
}

void LogStub() {}

}  // namespace datacollector
