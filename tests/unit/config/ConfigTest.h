// What the tests of the configuration readers share: files in a directory of their own, a zeroed main state,
// and a reader's result with everything that it printed.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>

#include "ground/MainState.h"
#include "support/CaptureOutput.h"
#include "support/Texts.h"

namespace datacollector {

struct Reading {
  int result;
  std::string out;
  std::string err;
};

inline Reading Captured(const std::function<int()>& reader) {
  CapturedOutput output;
  const int result = reader();
  return {result, WithoutLineNumbers(output.Out()), output.Err()};
}

class ConfigTest : public ::testing::Test {
 public:
  ConfigTest(const ConfigTest&) = delete;
  ConfigTest(ConfigTest&&) = delete;
  ConfigTest& operator=(const ConfigTest&) = delete;
  ConfigTest& operator=(ConfigTest&&) = delete;

 protected:
  ConfigTest() {
    std::string pattern = ::testing::TempDir() + "configXXXXXX";
    directory_ = ::mkdtemp(pattern.data());
  }
  // The daemon keeps its heap copies as long as it lives; a test process goes on.
  ~ConfigTest() override {
    std::filesystem::remove_all(directory_);
    const struct DataCollectorSiteConfig& site = main_->DataCollectorSiteConfig;
    for (const char* text :
         {site.SiteID, site.DeviceID, site.FailureDataCharacter, site.OverallRecordstartmark,
          site.OverallRecordendmark, main_->SoftwareVer, main_->OruVer}) {
      std::free(const_cast<char*>(text));
    }
  }

  // The path of a file of the test, and the same after writing it.
  std::string PathOf(const std::string& name) const { return directory_ + "/" + name; }
  std::string Write(const std::string& name, const std::string& text) const {
    std::ofstream(PathOf(name), std::ios::binary) << text;
    return PathOf(name);
  }

  std::unique_ptr<DataCollectorMainStructure> main_ = std::make_unique<DataCollectorMainStructure>();

 private:
  std::string directory_;
};

}  // namespace datacollector
