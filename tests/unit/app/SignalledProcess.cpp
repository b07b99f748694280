#include "unit/app/SignalledProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <thread>

#include "ground/FileLogger.h"
#include "ground/Trace.h"
#include "support/Texts.h"

namespace datacollector {

SignalledProcess::SignalledProcess(int outputDescriptor, const std::function<void()>& body,
                                   SignalInstaller install) {
  std::array<int, 2> ready{};
  EXPECT_EQ(::pipe2(ready.data(), O_CLOEXEC), 0);
  process_ = ::fork();
  if (process_ == 0) {
    ::dup2(outputDescriptor, STDOUT_FILENO);
    InstallSignalHandlers(install);
    body();
    [[maybe_unused]] const ssize_t written = ::write(ready[1], "r", 1);
    for (;;) {
      ::pause();
    }
  }
  ::close(ready[1]);
  pollfd told{ready[0], POLLIN, 0};
  EXPECT_EQ(::poll(&told, 1, static_cast<int>(std::chrono::milliseconds(kPatience).count())), 1);
  ::close(ready[0]);
}

SignalledProcess::~SignalledProcess() {
  if (!status_) {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }
}

void SignalledProcess::Signal(int number) const { ::kill(process_, number); }

std::optional<int> SignalledProcess::WaitForEnd(std::chrono::milliseconds patience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  int status = 0;
  while (!status_ && std::chrono::steady_clock::now() < deadline) {
    if (::waitpid(process_, &status, WNOHANG) == process_) {
      status_ = status;
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  return status_;
}

bool ExitedWith0(const std::optional<int>& status) {
  return status && WIFEXITED(*status) && WEXITSTATUS(*status) == 0;
}

Signals::Signals() {
  std::filesystem::create_directories(kLogDirectory);
  std::filesystem::remove(kLogFile);
  FlushTrace();
  output_ = ::open(kOutputFile, O_CREAT | O_TRUNC | O_RDWR | O_APPEND | O_CLOEXEC, 0600);
}

Signals::~Signals() {
  ::close(output_);
  std::filesystem::remove(kLogFile);
}

std::string Signals::Output() {
  const std::string text = Folded(ReadFile(kOutputFile));
  const std::string installation = "<InstallSignalHandlers>\n";
  EXPECT_EQ(text.find(installation), 0U) << text;
  return text.substr(std::min(text.size(), installation.size()));
}

bool Signals::WaitForLog(const std::string& text) {
  return WaitUntil([&] { return LogText() == text; });
}

}  // namespace datacollector
