#include "Output.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace datacollector::ctl {
namespace {

bool WriteAll(int descriptor, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t written = ::write(descriptor, text.data() + done, text.size() - done);
    if (written < 0 && errno != EINTR) {
      return false;
    }
    done += written > 0 ? static_cast<std::size_t>(written) : 0;
  }
  return true;
}

bool Complain(const std::string& path) {
  std::fprintf(stderr, "can't write %s: %s\n", path.c_str(), std::strerror(errno));
  return false;
}

}  // namespace

bool WriteOut(const std::string& text, const std::string& path) {
  if (path.empty()) {
    std::fflush(stdout);
    return WriteAll(STDOUT_FILENO, text) || Complain("standard output");
  }
  std::string temporary = path + ".XXXXXX";
  const int descriptor = ::mkostemp(temporary.data(), O_CLOEXEC);
  if (descriptor < 0) {
    return Complain(path);
  }
  const bool written = WriteAll(descriptor, text) && ::fchmod(descriptor, 0644) == 0;
  ::close(descriptor);
  if (!written || ::rename(temporary.c_str(), path.c_str()) != 0) {
    Complain(path);
    ::unlink(temporary.c_str());
    return false;
  }
  return true;
}

std::size_t TerminalWidth() {
  winsize size{};
  return ::isatty(STDOUT_FILENO) != 0 && ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

}  // namespace datacollector::ctl
