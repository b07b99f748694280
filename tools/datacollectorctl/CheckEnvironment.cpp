// What the daemon needs around it.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <ctime>

#include "Checks.h"
#include "ReadOnlyDatabase.h"

namespace datacollector::ctl {
namespace {

constexpr const char* kTableScript = "/bin/DatabaseInterface.sh";
// One of them is enough: logrotate's own, or what cron runs where there is no logrotate.
constexpr std::array<const char*, 2> kRotations = {"/etc/logrotate.d/DataCollectorLogrotateConfig",
                                                   "/usr/libexec/datacollector/rotate-log"};
constexpr const char* kWanStatus = "/tmp/networkstatus";
constexpr std::uint16_t kBrokerPort = 1883;
constexpr std::time_t kYear2020 = 1577836800;

// On the loopback a connection is taken or refused at once.
bool BrokerAnswers() {
  const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kBrokerPort);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const timeval patience{2, 0};
  ::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  const bool answers =
      ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  ::close(descriptor);
  return answers;
}

}  // namespace

void CheckEnvironment(const CheckInput& input, Findings& findings) {
  const std::string script = input.tree.Path(kTableScript);
  if (::access(script.c_str(), X_OK) != 0 || !SizeOfFile(script)) {
    findings.Add(Code::ScriptMissing, script, "can't be run");
  }
  if (std::ranges::none_of(kRotations,
                           [&](const char* path) { return SizeOfFile(input.tree.Path(path)).has_value(); })) {
    findings.Add(Code::RotationMissing, input.tree.Path(kRotations.front()), "is not there");
  }
  if (!input.tree.IsLive()) {
    return;
  }
  const std::string wan = input.tree.Path(kWanStatus);
  if (input.tree.main->DataCollectorSourcesConfig.i32_EnableLanMqtt == 0 &&
      (!SizeOfFile(wan) || ::access(wan.c_str(), R_OK) != 0)) {
    findings.Add(Code::WanMissing, wan, "can't be read");
  }
  if (!BrokerAnswers()) {
    findings.Add(Code::BrokerDown, "127.0.0.1:1883", "takes no connection");
  }
  if (std::time(nullptr) < kYear2020) {
    findings.Add(Code::ClockWrong, "clock", "stands before 2020");
  }
}

}  // namespace datacollector::ctl
