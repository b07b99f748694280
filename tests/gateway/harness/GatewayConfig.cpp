#include "gateway/harness/GatewayConfig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "gateway/harness/Kinds.h"

namespace datacollector::gateway {
namespace {

namespace fs = std::filesystem;

// Its folders are those of the gateway, from the root on.
constexpr const char* kExampleFolder = DATACOLLECTOR_SOURCE_DIR "/gateway/Config";

// The name that a "name = value" line gives a value to.
std::string NameIn(const std::string& line) {
  const std::size_t begin = line.find_first_not_of(" \t");
  if (begin == std::string::npos || line[begin] == '#') {
    return "";
  }
  return line.substr(begin, line.find_first_of(" \t=", begin) - begin);
}

}  // namespace

GatewayConfig::GatewayConfig() {
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(kExampleFolder)) {
    if (entry.path().extension() == ".cfg") {
      std::stringstream content;
      content << std::ifstream(entry.path()).rdbuf();
      files_[entry.path().filename()] = {fs::path("/") / fs::relative(entry.path(), kExampleFolder),
                                         content.str()};
    }
  }
  EXPECT_EQ(files_.size(), 18U) << kExampleFolder;
}

GatewayConfig& GatewayConfig::Set(const std::string& file, const std::string& key, int value) {
  return SetLine(file, key, key + " = " + std::to_string(value) + ";\n");
}

GatewayConfig& GatewayConfig::Set(const std::string& file, const std::string& key, const std::string& text) {
  return SetLine(file, key, key + " = \"" + text + "\";\n");
}

GatewayConfig& GatewayConfig::SetLine(const std::string& file, const std::string& key,
                                      const std::string& line) {
  Remove(file, key);
  files_.at(file).content += line;
  return *this;
}

GatewayConfig& GatewayConfig::Remove(const std::string& file, const std::string& key) {
  std::string& content = files_.at(file).content;
  std::istringstream lines(content);
  std::string kept;
  for (std::string line; std::getline(lines, line);) {
    if (NameIn(line) != key) {
      kept += line + "\n";
    }
  }
  content = kept;
  return *this;
}

GatewayConfig& GatewayConfig::RemoveFile(const std::string& file) {
  EXPECT_EQ(files_.erase(file), 1U) << file;
  return *this;
}

GatewayConfig& GatewayConfig::SetRaw(const std::string& file, const std::string& content) {
  files_.at(file).content = content;
  return *this;
}

GatewayConfig& GatewayConfig::Only(std::initializer_list<SourceKind> kinds) {
  Set(kSourcesFile, "EMeterRS485Line2DataSourceEnable", 0);
  for (const SourceKind kind : kAllKinds) {
    Set(kSourcesFile, FactsOf(kind).enableKey, std::count(kinds.begin(), kinds.end(), kind) == 0 ? 0 : 1);
  }
  return *this;
}

GatewayConfig& GatewayConfig::RowLimit(SourceKind kind, int rows) {
  return Set(FactsOf(kind).controlFile, FactsOf(kind).keyPrefix + std::string("MaxRowsCount"), rows);
}

GatewayConfig& GatewayConfig::PublishInterval(SourceKind kind, int seconds) {
  return Set(kSourcesFile, FactsOf(kind).intervalKey, seconds);
}

GatewayConfig& GatewayConfig::LoopInterval(int milliseconds) {
  return Set(kGenericFile, "MainWhileLoopSleepInterval", milliseconds);
}

GatewayConfig& GatewayConfig::SubscribeTopic(int number, const std::string& topic) {
  return Set(kMqttFile, "SubscribeTopic" + std::to_string(number), topic);
}

int GatewayConfig::SubscribedTopics() const {
  std::istringstream lines(files_.at(kMqttFile).content);
  int count = 0;
  for (std::string line; std::getline(lines, line);) {
    count += NameIn(line).starts_with("SubscribeTopic") ? 1 : 0;
  }
  return count;
}

void GatewayConfig::Install() const {
  for (const auto& [name, file] : files_) {
    fs::create_directories(file.path.parent_path());
    std::ofstream(file.path) << file.content;
  }
}

}  // namespace datacollector::gateway
