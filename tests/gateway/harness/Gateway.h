// The gateway that every test of the daemon runs in: broker, configuration, WAN state, the daemon itself, and
// the applications beside it.
//
// The test program runs in a private root, so the daemon's paths and the broker's port are the real ones.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "gateway/harness/Broker.h"
#include "gateway/harness/ChildProcess.h"
#include "gateway/harness/GatewayConfig.h"
#include "gateway/harness/HttpSendApp.h"
#include "gateway/harness/Kinds.h"
#include "gateway/harness/LogFile.h"
#include "gateway/harness/Peer.h"
#include "gateway/harness/Table.h"

namespace datacollector::gateway {

inline constexpr const char* kNetworkStatusFile = "/tmp/networkstatus";
inline constexpr const char* kInstanceSocket = "/tmp/DataCollector";
inline constexpr const char* kTableScript = "/bin/DatabaseInterface.sh";

// The daemon under test: that of the build, or what the environment's DATACOLLECTOR_DAEMON names.
std::string DaemonProgram();

class Gateway : public testing::Test {
 protected:
  // Broker up, WAN up; the daemon doesn't run yet.
  void SetUp() override;

  // Ends a daemon that runs, which must exit with 0, and shows what it said when the test has failed.
  void TearDown() override;

  // Starts the daemon with the configuration as it stands. The daemon before it, if any, must have ended.
  void Launch(ChildProcess::Output output = ChildProcess::Output::kCollected);

  // Launches the daemon and waits until it is subscribed and in its loop; and starts the HTTP Send App and
  // the source application where they don't run.
  void Start(HttpSendApp::Answer answer = HttpSendApp::Delivered);

  void WaitUntilSubscribed();
  void WaitUntilInLoop();

  void Terminate();  // SIGTERM; the exit status must be 0
  void Kill();       // SIGKILL

  static void SetWan(const std::string& firstLine);
  static void WanUp() { SetWan("1"); }
  static void WanDown() { SetWan("0"); }

  // Publishes a record and waits until the daemon has stored it.
  void Store(SourceKind kind, int request = 7);
  void StoreFrom(SourceKind kind, int firstRequest, int count);

  // Publishes a payload and waits until the daemon has dealt with it.
  void Deliver(const std::string& topic, const std::string& payload);

  // The forwarding thread sends nothing before the first message. This one no branch cares for, and like
  // every message it opens the gate.
  void OpenSendGate() { Deliver("SNMP/Alarm", "-"); }

  // Waits until the confirmation of a record number has been written, and this many times in all.
  void WaitUntilUpdated(SourceKind kind, int number, std::size_t times = 1);

  const Transcript& Out() const { return daemon->Out(); }
  const Transcript& Err() const { return daemon->Err(); }

  // Waits for further rounds of the forwarding thread in which it looked for something to send.
  void WaitForForwardingRounds(std::size_t rounds) const;

  // Waits for further rounds of the main loop.
  void WaitForLoopRounds(std::size_t rounds) const;

  GatewayConfig config;
  std::vector<std::string> environment;  // of the daemon, "NAME=value", beside the test's own
  LogFile log;
  Broker broker;
  std::unique_ptr<ChildProcess> daemon;
  std::unique_ptr<HttpSendApp> httpSendApp;
  std::unique_ptr<Peer> source;

 private:
  void Keep() const;
  void ShowLastLines() const;
  void ExpectNoSanitizerReport() const;

  int launches_ = 0;
};

// For tests that run once for each kind.
class EachKind : public Gateway, public testing::WithParamInterface<SourceKind> {};

inline std::string NameOfKind(const testing::TestParamInfo<SourceKind>& info) {
  return FactsOf(info.param).name;
}

}  // namespace datacollector::gateway
