// The daemon's configuration: the example files, with what a test needs otherwise.
#pragma once

#include <filesystem>
#include <initializer_list>
#include <map>
#include <string>

#include "ground/KindShape.h"

namespace datacollector::gateway {

// Names of the files that are not per kind.
inline constexpr const char* kSourcesFile = "DataSourcesConfig.cfg";
inline constexpr const char* kGenericFile = "DataCollectorGeneric.cfg";
inline constexpr const char* kMqttFile = "DataCollectorMqtt.cfg";
inline constexpr const char* kSiteFile = "FixedPacketConfig.cfg";
inline constexpr const char* kVersionFile = "SoftwareVersion.cfg";

class GatewayConfig {
 public:
  // Starts from the example files.
  GatewayConfig();

  // Sets a key of a libconfig file, adding it where it is missing.
  GatewayConfig& Set(const std::string& file, const std::string& key, int value);
  GatewayConfig& Set(const std::string& file, const std::string& key, const std::string& text);

  GatewayConfig& Remove(const std::string& file, const std::string& key);
  GatewayConfig& RemoveFile(const std::string& file);
  GatewayConfig& SetRaw(const std::string& file, const std::string& content);

  // Enables exactly these kinds; RS-485 with line 1 alone.
  GatewayConfig& Only(std::initializer_list<SourceKind> kinds);

  GatewayConfig& RowLimit(SourceKind kind, int rows);
  GatewayConfig& PublishInterval(SourceKind kind, int seconds);
  GatewayConfig& LoopInterval(int milliseconds);

  // The text of SubscribeTopic<number>, numbered from 1.
  GatewayConfig& SubscribeTopic(int number, const std::string& topic);

  // How many subscribe topics are set.
  int SubscribedTopics() const;

  // Writes the files to where the daemon reads them.
  void Install() const;

 private:
  GatewayConfig& SetLine(const std::string& file, const std::string& key, const std::string& line);

  struct File {
    std::filesystem::path path;  // where the daemon reads it
    std::string content;
  };
  std::map<std::string, File> files_;  // by name without folders
};

}  // namespace datacollector::gateway
