// The settings for the gateway's broker that ship and those that are documented are the same ones.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

namespace datacollector {
namespace {

using Lines = std::vector<std::string>;

const Lines kSettings = {"listener 1883 127.0.0.1", "allow_anonymous true", "persistence false",
                         "max_queued_messages 0",   "set_tcp_nodelay true", "message_size_limit 16384"};

Lines LinesOf(const std::string& file) {
  std::ifstream stream(DATACOLLECTOR_SOURCE_DIR "/" + file);
  Lines lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

Lines SettingsOf(const std::string& file) {
  Lines settings = LinesOf(file);
  std::erase_if(settings, [](const std::string& line) { return line.starts_with('#'); });
  return settings;
}

TEST(BrokerSettings, OfBothPackagesAreTheSame) {
  EXPECT_EQ(SettingsOf("packaging/debian/mosquitto.conf"), kSettings);
  EXPECT_EQ(SettingsOf("packaging/openwrt/files/mosquitto.conf"), kSettings);
}

// Of the page's lines, those that are set off as code and begin with a setting's name.
TEST(BrokerSettings, AreTheDocumentedOnes) {
  Lines documented;
  for (const std::string& line : LinesOf("docs/installation.md")) {
    for (const std::string& setting : kSettings) {
      if (line.starts_with("    " + setting.substr(0, setting.find(' ') + 1))) {
        documented.push_back(line.substr(4));
      }
    }
  }
  EXPECT_EQ(documented, kSettings);
}

}  // namespace
}  // namespace datacollector
