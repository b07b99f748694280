// A test of the files that tell what the gateway is and whom it talks to, a file at a time.
#pragma once

#include <string>

#include "config/SiteConfig.h"
#include "unit/config/ConfigTest.h"

namespace datacollector {

class SiteFileTest : public ConfigTest {
 protected:
  static constexpr const char* kFile = "SiteConfig.cpp";
  using Reader = int (*)(DataCollectorMainStructure&, const char*);
  Reading Read(Reader reader, const std::string& text) {
    path_ = Write("file.cfg", text);
    return ReadThere(reader);
  }
  Reading ReadMissing(Reader reader) {
    path_ = PathOf("missing.cfg");
    return ReadThere(reader);
  }
  void ExpectFailureWithoutFile(Reader reader, const std::string& printed) {
    const Reading reading = ReadMissing(reader);
    EXPECT_EQ(reading.result, -1);
    EXPECT_EQ(reading.out, printed);
    EXPECT_EQ(reading.err, path_ + ":0 - file I/O error\n");
  }
  std::string Missing(const std::string& key) const {
    return "No '" + key + "' setting in " + path_ + " file\n";
  }
  std::string Found(const std::string& key, const std::string& value) const {
    return "value at setting " + key + " in " + path_ + " file is = " + value + "\n";
  }
  static std::string Number(const std::string& key, int value) {
    return key + " = " + key + ", and Value = " + std::to_string(value) + "\n";
  }

  DataCollectorMqttTopics& topics_ = main_->DataCollectorMqttTopics;
  struct DataCollectorSiteConfig& site_ = main_->DataCollectorSiteConfig;
  struct PackingIdentity& packing_ = main_->PackingIdentity;
  std::string path_;

 private:
  Reading ReadThere(Reader reader) {
    return Captured([&] { return reader(*main_, path_.c_str()); });
  }
};

}  // namespace datacollector
