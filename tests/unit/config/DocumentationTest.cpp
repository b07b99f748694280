// The configuration's documentation names every key that a reader looks for.
#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

#include "config/DatabaseColumnsConfig.h"
#include "config/DatabaseConfig.h"
#include "config/SiteConfig.h"
#include "config/SourcesConfig.h"
#include "unit/config/DatabaseFilesTest.h"

namespace datacollector {
namespace {

class Documentation : public DatabaseFilesTest {
 protected:
  Documentation() : DatabaseFilesTest("Ctrl") {}

  // Notes the keys that a reader misses in a file with this text.
  void Note(int (*reader)(DataCollectorMainStructure&, const char*), const std::string& text) {
    const std::string path = Write("file.cfg", text);
    NoteMissing(Captured([&] { return reader(*main_, path.c_str()); }).out);
  }
  void Note(Reader reader) { NoteMissing(Read(reader).out); }

  std::set<std::string> keys_;

 private:
  void NoteMissing(const std::string& out) {
    const std::regex message("(?:No|Fail to read parameter) '([^']+)'");
    for (std::sregex_iterator at(out.begin(), out.end(), message), end; at != end; ++at) {
      keys_.insert((*at)[1]);
    }
  }
};

// The ways in which a page may write a key: as it is, with the number of a line, meter or topic left open, or
// with the name or prefix of a kind left open.
std::set<std::string> Spellings(const std::string& key) {
  std::set<std::string> spellings = {key};
  spellings.insert(std::regex_replace(key, std::regex("_[0-9]+$"), "_<m>"));
  spellings.insert(std::regex_replace(key, std::regex("(Line|Topic)[0-9]+"), "$1<n>"));
  spellings.insert(std::regex_replace(key, std::regex("^(AIO|DIO|TEMPERATURE)(?=DataSource)"), "<KIND>"));
  spellings.insert(
      std::regex_replace(key, std::regex("^(AI|DI|Temperature|EMeterRS485|EMeterRS232|SNMP)"), "<P>"));
  return spellings;
}

TEST_F(Documentation, NamesEveryKey) {
  Note(ReadSourcesConfig, "");
  Note(ReadSourcesConfig,
       "NoOfSources = 4; NoOfEMeterRS485DataSources = 1; NoOfEMeterRS232DataSources = 1;"
       "NoOfSNMPDataSources = 1; NoOfDataBases = 6;");
  main_->DataCollectorSourcesConfig.i32_NoOfEMetersInLine[0] = 1;
  Note(ReadRS485DeviceConfig, "");
  Note(ReadGenericConfig, "");
  Note(ReadTopicsConfig, "");
  Note(ReadTopicsConfig, "NoOfSubscribeTopics = 1;");
  Note(ReadTopicsConfig, "NoOfSubscribeTopics = 1; NoOfHTTPPublishTopics = 1;");
  Note(ReadSiteIDCfg, "");
  Note(ReadSiteIDCfg, "SiteIDEnable = 1;");
  Note(ReadSiteIDCfg, "SiteIDEnable = 1; DeviceIDEnable = 1;");
  Note(ReadSoftwareVersionCfg, "");
  for (const SourceKind kind : kAllKinds) {
    Enable(kind);
    WriteFile(kind, "");
  }
  Note(ReadDataCollectorDBCtrlConfig);
  Note(ReadDataCollectorDBCtrlUpdateConfig);
  EXPECT_GT(keys_.size(), 180U);

  std::ifstream file(DATACOLLECTOR_SOURCE_DIR "/docs/configuration.md");
  const std::string page{std::istreambuf_iterator<char>(file), {}};
  for (const std::string& key : keys_) {
    bool named = false;
    for (const std::string& spelling : Spellings(key)) {
      named = named || page.find("`" + spelling + "`") != std::string::npos;
    }
    EXPECT_TRUE(named) << key << " is missing in docs/configuration.md";
  }
}

}  // namespace
}  // namespace datacollector
