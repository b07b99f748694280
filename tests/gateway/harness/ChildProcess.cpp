#include "gateway/harness/ChildProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>
#include <utility>

namespace datacollector::gateway {
namespace {

std::vector<char*> PointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

// The test's own environment, but for the variables that `others` have a value of their own for.
std::vector<std::string> EnvironmentWith(const std::vector<std::string>& others) {
  std::vector<std::string> variables = others;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view own = *variable;
    const std::string_view name = own.substr(0, own.find('=') + 1);
    if (std::none_of(others.begin(), others.end(),
                     [name](const std::string& other) { return other.starts_with(name); })) {
      variables.emplace_back(own);
    }
  }
  return variables;
}

struct Pipe {
  Descriptor read;
  Descriptor write;
};

// Reading does not block.
Pipe MakePipe() {
  std::array<int, 2> ends = {-1, -1};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0 || ::fcntl(ends[0], F_SETFL, O_NONBLOCK) != 0) {
    ADD_FAILURE() << "pipe: " << std::strerror(errno);
  }
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

// What stands in a stream now, or a part of it; nothing from one that is closed. Closed at its end.
std::string Take(Descriptor& stream) {
  std::array<char, 65536> chunk{};
  const ssize_t length = stream.Get() < 0 ? 0 : ::read(stream.Get(), chunk.data(), chunk.size());
  if (length == 0 || (length < 0 && errno != EAGAIN)) {
    stream.Close();
  }
  return length <= 0 ? "" : std::string(chunk.data(), static_cast<std::size_t>(length));
}

// Reads both streams to their ends, or until `ended` is readable and nothing is left: a grandchild may keep a
// stream open for longer than the process lives. What was said on standard error before something was printed
// is there before that is: whoever has waited for the one need not wait for the other.
void ReadStreams(Descriptor printed, Transcript& out, Descriptor said, Transcript& err, int ended) {
  while (printed.Get() >= 0 || said.Get() >= 0) {
    std::array<pollfd, 3> watched = {pollfd{printed.Get(), POLLIN, 0}, pollfd{said.Get(), POLLIN, 0},
                                     pollfd{ended, POLLIN, 0}};
    ::poll(watched.data(), watched.size(), -1);
    if (watched[0].revents == 0 && watched[1].revents == 0) {
      break;
    }
    const std::string next = Take(printed);
    for (std::string before = Take(said); !before.empty(); before = Take(said)) {
      err.Append(before);
    }
    out.Append(next);
  }
  out.Close();
  err.Close();
}

}  // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  if (this != &other) {
    Close();
    value_ = other.Release();
  }
  return *this;
}

int Descriptor::Release() { return std::exchange(value_, -1); }

void Descriptor::Close() {
  if (value_ >= 0) {
    ::close(std::exchange(value_, -1));
  }
}

ChildProcess::ChildProcess(const Options& options) {
  Pipe out;
  Pipe err = MakePipe();
  if (options.output == Output::kToFile) {
    out.write = Descriptor(
        ::open(options.outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR));
  } else {
    out = MakePipe();
  }
  Start(options, out.write.Get(), err.write.Get());
  if (options.output == Output::kUnread) {
    unread_ = std::move(out.read);
    unreadFill_ = std::move(out.write);
  }
  reader_ = std::jthread([this, printed = std::move(out.read), said = std::move(err.read)]() mutable {
    ReadStreams(std::move(printed), out_, std::move(said), err_, handle_.Get());
  });
}

void ChildProcess::Start(const Options& options, int outTarget, int errTarget) {
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_adddup2(&actions, outTarget, STDOUT_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, errTarget, STDERR_FILENO);

  std::vector<std::string> arguments = options.arguments;
  std::vector<std::string> variables = EnvironmentWith(options.environment);

  const int error = ::posix_spawn(&pid_, options.program.c_str(), &actions, nullptr,
                                  PointersTo(arguments).data(), PointersTo(variables).data());
  ::posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    ADD_FAILURE() << options.program << ": " << std::strerror(error);
    pid_ = -1;
    status_ = -1;
    return;
  }
  handle_ = Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0)));
}

ChildProcess::~ChildProcess() {
  if (!status_) {
    Signal(SIGKILL);
    WaitForExit();
  }
}

void ChildProcess::Signal(int number) const {
  if (!status_ && ::kill(pid_, number) != 0) {
    ADD_FAILURE() << "kill: " << std::strerror(errno);
  }
}

std::optional<int> ChildProcess::WaitForExit(std::chrono::milliseconds patience) {
  if (status_) {
    return status_;
  }
  pollfd watched{handle_.Get(), POLLIN, 0};
  if (::poll(&watched, 1, static_cast<int>(patience.count())) <= 0) {
    return std::nullopt;
  }
  int status = 0;
  if (::waitpid(pid_, &status, 0) == pid_) {
    status_ = status;
    reader_.join();
  }
  return status_;
}

bool ChildProcess::WaitUntilPipeIsFull(std::chrono::milliseconds patience) const {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  pollfd room{unreadFill_.Get(), POLLOUT, 0};
  while (::poll(&room, 1, 0) > 0) {
    if (std::chrono::steady_clock::now() >= deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

void ChildProcess::ClosePipe() {
  unread_.Close();
  unreadFill_.Close();
}

bool ExitedWith(const std::optional<int>& status, int code) {
  return status && WIFEXITED(*status) && WEXITSTATUS(*status) == code;
}

}  // namespace datacollector::gateway
