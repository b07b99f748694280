// One daemon at a time: the second instance, what a dead one left behind, and a guard that can't decide.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "gateway/harness/Gateway.h"
#include "gateway/harness/Golden.h"

namespace datacollector::gateway {
namespace {

namespace fs = std::filesystem;

class InstanceTest : public Gateway {
 protected:
  void SetUp() override {
    Gateway::SetUp();
    config.Only({AIO});
  }
};

void LeaveSocketBehind() {
  const Descriptor dead(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, kInstanceSocket, sizeof(address.sun_path) - 1);
  ASSERT_EQ(::bind(dead.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
}

TEST_F(InstanceTest, ASecondInstanceSaysSoAndExitsWith0) {
  Start();
  ChildProcess second({.program = DaemonProgram(), .arguments = {"DataCollector"}});
  EXPECT_TRUE(ExitedWith(second.WaitForExit(), 0));
  EXPECT_TRUE(ComesInOrder(
      second.Out().All(),
      {"Socket File Descriptor = {}\n", "Success: UNIX domain Socket Created Successfully\n",
       "Bind a name to the socket\n", "bind failure: EADDRINUSE -> The given address is already in use\n",
       "Connecting to Socket...\n", "Connect Success\n",
       "/************ Daemon <DataCollector> is already running ************/\n",
       "/$$$$$$$$$$$$$$ Client able to connect to Daemon <DataCollector> $$$$$$$$$$$$$$$$$/\n"}));
  EXPECT_EQ(LogFile::Messages().back(), "DataCollector Started As Client");
  Store(AIO);
  WaitUntilUpdated(AIO, 1);
}

TEST_F(InstanceTest, AStaleSocketFileIsReplaced) {
  LeaveSocketBehind();
  Start();
  EXPECT_TRUE(ComesInOrder(
      Out().All(),
      {"Bind a name to the socket\n", "bind failure: EADDRINUSE -> The given address is already in use\n",
       "Connecting to Socket...\n", "Connect failure\n",
       "connect failure: ECONNREFUSED -> No-one listening on the remote address\n",
       "Could not connect to socket, assuming daemon died.\n", "Bind a name to the socket\n",
       "Bind Success\n", "/*********** There was no Daemon <DataCollector> running before **********/\n"}));
  Store(AIO);
}

TEST_F(InstanceTest, AStartAfterACrashAndOneAfterAnOrderlyEndBothBecomeTheDaemon) {
  Start();
  Kill();
  Start();
  Terminate();
  EXPECT_TRUE(fs::exists(kInstanceSocket));
  Start();
  const std::vector<std::string> messages = LogFile::Messages();
  EXPECT_EQ(std::count(messages.begin(), messages.end(), "DataCollector Started As Daemon"), 3);
}

TEST_F(InstanceTest, APathThatCanNeitherBeBoundNorConnectedEndsWith1) {
  fs::create_directory(kInstanceSocket);
  Launch();
  EXPECT_TRUE(ExitedWith(daemon->WaitForExit(), 1));
  const Texts round = {"Bind a name to the socket\n",
                       "bind failure: EADDRINUSE -> The given address is already in use\n",
                       "Connecting to Socket...\n", "Connect failure\n"};
  Texts expected = round;
  expected.insert(expected.end(), round.begin(), round.end());
  expected.emplace_back(
      "/*********** It neither connected to an existing daemon <DataCollector> nor become daemon "
      "***************/\n");
  expected.emplace_back("/$$$$$$$$$$ Error in handling Daemon <DataCollector> $$$$$$$$$$$/\n");
  EXPECT_TRUE(ComesInOrder(Out().All(), expected));
  EXPECT_EQ(Out().Count("Bind a name to the socket\n"), 2U);
  EXPECT_EQ(LogFile::Messages(), std::vector<std::string>{"Error in handling Daemon DataCollector"});
}

}  // namespace
}  // namespace datacollector::gateway
