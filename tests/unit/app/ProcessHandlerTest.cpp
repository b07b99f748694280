#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <regex>
#include <string>

#include "app/ProcessHandler.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace datacollector {
namespace {

constexpr const char* kBind = "Bind a name to the socket\n";
constexpr const char* kInUse =
    "bind failure: EADDRINUSE -> The given address is already in use\nConnecting to Socket...\n";
constexpr const char* kRefused =
    "Connect failure\nconnect failure: ECONNREFUSED -> No-one listening on the remote address\n"
    "Could not connect to socket, assuming daemon died.\n";
constexpr const char* kBound =
    "Bind Success\n/*********** There was no Daemon <dc> running before **********/\n";
constexpr const char* kNeither =
    "/*********** It neither connected to an existing daemon <dc> nor become daemon ***************/\n";

// Another process's socket under a path.
class OtherSocket {
 public:
  OtherSocket(const std::string& path, int type) : descriptor_(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  }
  ~OtherSocket() { ::close(descriptor_); }
  OtherSocket(const OtherSocket&) = delete;
  OtherSocket(OtherSocket&&) = delete;
  OtherSocket& operator=(const OtherSocket&) = delete;
  OtherSocket& operator=(OtherSocket&&) = delete;

 private:
  int descriptor_;
};

class InstanceGuard : public ::testing::Test {
 protected:
  InstanceGuard() {
    std::string pattern = ::testing::TempDir() + "guardXXXXXX";
    folder_ = ::mkdtemp(pattern.data());
    path_ = folder_ + "/socket";
  }
  ~InstanceGuard() override {
    CapturedOutput output;
    CloseUnixDomainSocket();
    output.Out();
    std::filesystem::remove_all(folder_);
  }

  // Returns the trace with "N" for the number of the descriptor.
  std::string Guard(int expected, int retries = 1) const { return Guard(path_, expected, retries); }
  static std::string Guard(const std::string& path, int expected, int retries) {
    CapturedOutput output;
    EXPECT_EQ(ProcessHandler(path.c_str(), retries, "dc"), expected);
    return std::regex_replace(Folded(output.Out(), {"ProcessHandler"}),
                              std::regex("Socket File Descriptor = [0-9]+\n"),
                              "Socket File Descriptor = N\n");
  }

  static std::string Traced(const std::string& text) {
    return datacollector::Traced(
        "ProcessHandler.cpp", "ProcessHandler",
        "Socket File Descriptor = N\nSuccess: UNIX domain Socket Created Successfully\n" + text);
  }

  std::string folder_;
  std::string path_;
};

TEST_F(InstanceGuard, WithoutASocketFileTheProcessIsTheDaemonAtOnce) {
  EXPECT_EQ(Guard(0), Traced(std::string(kBind) + kBound));
  EXPECT_TRUE(std::filesystem::is_socket(path_));
  EXPECT_GE(gi32_InstanceSocket, 0);
}

TEST_F(InstanceGuard, AStaleSocketFileIsRemovedAndTheSecondBindSucceeds) {
  { const OtherSocket dead(path_, SOCK_DGRAM); }
  EXPECT_EQ(Guard(0), Traced(std::string(kBind) + kInUse + kRefused + kBind + kBound));
  EXPECT_TRUE(std::filesystem::is_socket(path_));
}

TEST_F(InstanceGuard, WithoutRetriesAStaleSocketFileIsOnlyRemoved) {
  { const OtherSocket dead(path_, SOCK_DGRAM); }
  EXPECT_EQ(Guard(-1, 0), Traced(std::string(kBind) + kInUse + kRefused + kNeither));
  EXPECT_FALSE(std::filesystem::exists(path_));
  EXPECT_EQ(gi32_InstanceSocket, -1);
}

TEST_F(InstanceGuard, ARunningDaemonIsFound) {
  const OtherSocket daemon(path_, SOCK_DGRAM);
  EXPECT_EQ(Guard(1),
            Traced(std::string(kBind) + kInUse +
                   "Connect Success\n/************ Daemon <dc> is already running ************/\n"));
  EXPECT_GE(gi32_InstanceSocket, 0);
}

TEST_F(InstanceGuard, AMissingDirectoryEndsInTwoRounds) {
  const std::string failure = std::string(kBind) + "Could not bind to socket: 'No such file or directory'\n";
  EXPECT_EQ(Guard(folder_ + "/nothing/socket", -1, 1), Traced(failure + failure + kNeither));
  EXPECT_EQ(gi32_InstanceSocket, -1);
}

TEST_F(InstanceGuard, ASocketOfAnotherSortIsNeitherConnectedToNorRemoved) {
  const OtherSocket stream(path_, SOCK_STREAM);
  const std::string failure = std::string(kBind) + kInUse +
                              "Connect failure\n"
                              "Could not connect to socket: 'Protocol wrong type for socket'\n";
  EXPECT_EQ(Guard(-1), Traced(failure + failure + kNeither));
  EXPECT_TRUE(std::filesystem::exists(path_));
}

TEST_F(InstanceGuard, TheRetryCountIsTheNumberOfFurtherRounds) {
  const std::string out = Guard(folder_ + "/nothing/socket", -1, 3);
  EXPECT_EQ(CountOf(kBind, out), 4U);
}

TEST_F(InstanceGuard, APathIsCutTo107Characters) {
  const std::string path = folder_ + "/" + std::string(150, 's');
  Guard(path, 0, 1);
  EXPECT_TRUE(std::filesystem::is_socket(path.substr(0, 107)));
}

TEST_F(InstanceGuard, WithoutADescriptorLeftItFails) {
  rlimit before{};
  ::getrlimit(RLIMIT_NOFILE, &before);
  CapturedOutput output;
  const char* const path = path_.c_str();  // the sanitizer's look at this object needs a descriptor
  const int next = ::dup(STDIN_FILENO);
  ::close(next);
  const rlimit none{static_cast<rlim_t>(next), before.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &none);
  const int result = ProcessHandler(path, 1, "dc");
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(result, -1);
  const std::string line = "FILE:ProcessHandler.cpp:LINE:N:FUNCTION:ProcessHandler";
  EXPECT_EQ(WithoutLineNumbers(output.Out()),
            line + ":START\nSocket File Descriptor = -1\n" + line + ":END\n");
}

TEST_F(InstanceGuard, TheSocketIsClosedOnceAndItsFileStays) {
  Guard(0);
  const int descriptor = gi32_InstanceSocket;
  CapturedOutput output;
  CloseUnixDomainSocket();
  EXPECT_EQ(gi32_InstanceSocket, -1);
  EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1);
  const int other = ::dup(STDIN_FILENO);
  CloseUnixDomainSocket();
  EXPECT_NE(::fcntl(other, F_GETFD), -1);
  ::close(other);
  EXPECT_TRUE(std::filesystem::is_socket(path_));
  output.Out();
}

TEST_F(InstanceGuard, TheSocketIsNotInheritedByCommands) {
  Guard(0);
  EXPECT_EQ(::fcntl(gi32_InstanceSocket, F_GETFD), FD_CLOEXEC);
}

}  // namespace
}  // namespace datacollector
