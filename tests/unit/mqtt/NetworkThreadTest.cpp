// Looking after the library's network thread.
#include <gtest/gtest.h>

#include "mqtt/ClientConfig.h"
#include "mqtt/ClientWrappers.h"
#include "support/CaptureOutput.h"
#include "support/ConnectedClient.h"
#include "support/LocalBroker.h"
#include "support/Texts.h"
#include "unit/mqtt/BareClient.h"

namespace datacollector {
namespace {

class NetworkThread : public BareClient {
 protected:
  // What is printed about the thread when somebody looks after it.
  std::string Keep() {
    CapturedOutput output;
    Mosquitto_KeepNetworkThread(*cfg_);
    return output.Err();
  }
};

TEST_F(NetworkThread, IsLeftAloneWhileItRuns) {
  LocalBroker broker;
  const ConnectedClient client(*cfg_);
  EXPECT_EQ(Keep(), "");
  broker.Stop();
  ASSERT_TRUE(WaitUntil([this] { return !cfg_->connected && cfg_->networkThread != 0; }));
  const pid_t thread = cfg_->networkThread;
  EXPECT_EQ(Keep(), "");
  EXPECT_EQ(Keep(), "");
  EXPECT_EQ(cfg_->networkThread, thread);
  broker.Start();
  CapturedOutput output;
  ASSERT_TRUE(WaitUntil([this] { return cfg_->connected.load(); }));
  output.Out();
  EXPECT_EQ(Keep(), "");
  EXPECT_EQ(LogText(), "");
}

}  // namespace
}  // namespace datacollector
