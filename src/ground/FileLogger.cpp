#include "ground/FileLogger.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <new>
#include <string_view>

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

// The log, open for one line, so that it may be moved away or removed at any time.
class LogForOneLine {
 public:
  LogForOneLine() : descriptor_(::open(kLogFile, O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666)) {}
  ~LogForOneLine() {
    if (IsOpen()) {
      ::close(descriptor_);
    }
  }
  LogForOneLine(const LogForOneLine&) = delete;
  LogForOneLine(LogForOneLine&&) = delete;
  LogForOneLine& operator=(const LogForOneLine&) = delete;
  LogForOneLine& operator=(LogForOneLine&&) = delete;

  bool IsOpen() const { return descriptor_ >= 0; }

  // In as many pieces as the disk takes it; what a full one does not take is gone.
  void Write(std::string_view line) const {
    while (!line.empty()) {
      const ssize_t written = ::write(descriptor_, line.data(), line.size());
      if (written <= 0) {
        return;
      }
      line.remove_prefix(static_cast<std::size_t>(written));
    }
  }

 private:
  int descriptor_;
};

}  // namespace

const char* gui32_LogFileName = nullptr;

void InitLogFile(const char* path) {
  gui32_LogFileName = path;
  OpenForAppending(kLogFile);
}

// A hand-over writes two to four lines, hundreds of times a second with fast rounds: so without a stream,
// which would take memory for each.
void WriteLog(const char* format, ...) {
  const LogForOneLine log;
  TimeStampText stamp{};
  GetTimeStamp(stamp);
  if (!log.IsOpen()) {
    return;
  }
  FixedText<1000> line;
  line.Format("%s: ", stamp.c_str());
  const std::size_t head = line.view().size();
  const std::size_t room = line.characters.size() - head;
  std::va_list arguments;
  va_start(arguments, format);
  std::va_list again;
  va_copy(again, arguments);
  char* const text = line.characters.data() + head;
  const auto length = static_cast<std::size_t>(std::max(std::vsnprintf(text, room, format, arguments), 0));
  if (length < room) {
    text[length] = '\n';
    log.Write({line.characters.data(), head + length + 1});
  } else if (const std::unique_ptr<char[]> longLine{new (std::nothrow) char[head + length + 1]}) {
    std::copy_n(line.characters.data(), head, longLine.get());
    std::vsnprintf(longLine.get() + head, length + 1, format, again);
    longLine[head + length] = '\n';
    log.Write({longLine.get(), head + length + 1});
  }
  va_end(again);
  va_end(arguments);
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
