// How often the client initialises the library and cleans it up, and what it makes of its process id: seen
// from the calls themselves.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <mosquitto.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <ostream>
#include <string>

#include "mqtt/client/ClientConfig.h"
#include "mqtt/client/mosq_DataCollector_sub_client.h"
#include "support/CaptureOutput.h"
#include "support/ConnectedClient.h"
#include "support/LocalBroker.h"

namespace {

thread_local int initialisations = 0;  // by the calling thread
thread_local int cleanups = 0;
thread_local pid_t processId = 0;  // what the calling thread takes itself for; 0: what it is

int Real(const char* name) { return reinterpret_cast<int (*)()>(::dlsym(RTLD_NEXT, name))(); }

}  // namespace

// These stand in front of the library's and the system's own in this program.
extern "C" {

int mosquitto_lib_init() {
  ++initialisations;
  return Real("mosquitto_lib_init");
}

int mosquitto_lib_cleanup() {
  ++cleanups;
  return Real("mosquitto_lib_cleanup");
}

pid_t getpid() noexcept { return processId != 0 ? processId : static_cast<pid_t>(::syscall(SYS_getpid)); }
}

namespace datacollector {
namespace {

class LibraryCalls : public ::testing::Test {
 protected:
  LibraryCalls() {
    client_config_init(*cfg_);
    initialisations = 0;
    cleanups = 0;
  }
  ~LibraryCalls() override {
    mosquitto_destroy(cfg_->mosq);
    processId = 0;
  }

  std::unique_ptr<ClientConfig> cfg_ = std::make_unique<ClientConfig>();
};

TEST_F(LibraryCalls, EachFailedAttemptCleansTheLibraryUpAndNoneInitialisesItAgain) {
  CapturedOutput output;
  ASSERT_EQ(mosquitto_client_init(*cfg_), 0);
  EXPECT_EQ(initialisations, 1);
  EXPECT_EQ(cleanups, 0);
  EXPECT_EQ(mosquitto_client_connect(*cfg_), 1);
  EXPECT_EQ(initialisations, 1);
  EXPECT_EQ(cleanups, 1);
  EXPECT_EQ(mosquitto_client_connect(*cfg_), 1);
  EXPECT_EQ(initialisations, 1);
  EXPECT_EQ(cleanups, 2);
}

TEST_F(LibraryCalls, AConnectionLeavesTheLibraryAsItIsUntilItsEnd) {
  const LocalBroker broker;
  {
    const ConnectedClient client(*cfg_);
    EXPECT_EQ(initialisations, 1);
    EXPECT_EQ(cleanups, 0);
  }
  EXPECT_EQ(initialisations, 1);
  EXPECT_EQ(cleanups, 1);
}

struct ProcessName {
  pid_t process;
  const char* identifier;  // in front of the host's name

  friend void PrintTo(const ProcessName& value, std::ostream* out) { *out << value.process; }
};

class IdentifierOfProcess : public LibraryCalls, public ::testing::WithParamInterface<ProcessName> {};

TEST_P(IdentifierOfProcess, LosesTheHostFirstThenTheDashThenItsOwnEnd) {
  processId = GetParam().process;
  CapturedOutput output;
  ASSERT_EQ(mosquitto_client_init(*cfg_), 0);
  processId = 0;
  std::array<char, 256> host{};
  ::gethostname(host.data(), host.size() - 1);
  const std::string identifier = GetParam().identifier;
  EXPECT_EQ(std::string(cfg_->id.get()), (identifier + host.data()).substr(0, 23));
  if (GetParam().process >= 1000) {
    EXPECT_EQ(std::string(cfg_->id.get()), identifier);
  }
}

INSTANTIATE_TEST_SUITE_P(Digits, IdentifierOfProcess,
                         ::testing::Values(ProcessName{7, "mosqDataCollector/7-"},
                                           ProcessName{123, "mosqDataCollector/123-"},
                                           ProcessName{1234, "mosqDataCollector/1234-"},
                                           ProcessName{12345, "mosqDataCollector/12345"},
                                           ProcessName{4194303, "mosqDataCollector/41943"}),
                         [](const auto& name) { return std::to_string(name.param.process); });

}  // namespace
}  // namespace datacollector
