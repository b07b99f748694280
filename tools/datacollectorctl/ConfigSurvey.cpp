#include "ConfigSurvey.h"

#include <libconfig.h>
#include <sys/stat.h>

#include <cstring>

#include "config/ConfigFile.h"
#include "config/DatabaseColumnsConfig.h"
#include "config/DatabaseConfig.h"

namespace datacollector::ctl {
namespace {

// The survey that the observer's calls fill; this program reads a configuration on one thread.
ConfigSurvey* watching = nullptr;
bool forEnabled = false;

SurveyedFile* FileOf(const char* path) {
  for (SurveyedFile& file : watching->files) {
    if (file.path == path) {
      return &file;
    }
  }
  return nullptr;
}

void LookedUp(const char* path, const char* key, bool text) {
  if (SurveyedFile* file = FileOf(path)) {
    WantedKey& wanted = file->Wanted(key);
    wanted.text = text;
    wanted.forEnabled = wanted.forEnabled || forEnabled;
  }
}

void Stored(const char* path, const char* key, long value) {
  if (SurveyedFile* file = FileOf(path); file != nullptr && forEnabled) {
    file->Wanted(key).stored = true;
    file->Wanted(key).storedValue = value;
  }
}

void Cut(const char* path, const char* key, unsigned long /*limit*/) {
  if (SurveyedFile* file = FileOf(path)) {
    file->Wanted(key).cut = true;
  }
}

constexpr ConfigObserver kObserver = {LookedUp, Stored, Cut};

PresentKey KeyOf(const config_setting_t* setting) {
  PresentKey key;
  key.name = config_setting_name(setting);
  key.line = static_cast<int>(config_setting_source_line(setting));
  const int type = config_setting_type(setting);
  key.text = type == CONFIG_TYPE_STRING;
  key.number = type == CONFIG_TYPE_INT;
  if (key.text) {
    key.words = config_setting_get_string(setting);
  } else if (type == CONFIG_TYPE_INT || type == CONFIG_TYPE_INT64) {
    key.value = config_setting_get_int64(setting);
  }
  return key;
}

void ReadKeys(SurveyedFile& file) {
  config_t config;
  config_init(&config);
  if (config_read_file(&config, file.path.c_str()) != CONFIG_TRUE) {
    file.error = config_error_text(&config);
    file.errorLine = config_error_line(&config);
  } else {
    const config_setting_t* root = config_root_setting(&config);
    for (unsigned index = 0; index < static_cast<unsigned>(config_setting_length(root)); ++index) {
      file.present.push_back(KeyOf(config_setting_get_elem(root, index)));
    }
  }
  config_destroy(&config);
}

// The control files' keys of every kind, enabled or not: a disabled kind's key is not misspelt.
void ReadForAllKinds(const ConfigSurvey& survey) {
  const auto main = std::make_unique<DataCollectorMainStructure>();
  DataCollectorSourcesConfig& sources = main->DataCollectorSourcesConfig;
  sources.i32_No_Of_Sources = static_cast<std::int32_t>(kIoKinds);
  for (std::size_t line = 0; line < kIoKinds; ++line) {
    sources.i32_DataSourcesEnableFlags[line][0] = 1;
  }
  sources.i32_DataSourcesRS485EnableFlags[0][0] = 1;
  sources.i32_DataSourcesRS232EnableFlags[0][0] = 1;
  sources.i32_DataSourcesSNMPEnableFlags[0][0] = 1;
  std::array<const char*, kSourceKinds> paths{};
  for (const SourceKind kind : kAllKinds) {
    paths[kind] = survey.files[kControlFiles + kind].path.c_str();
  }
  ReadDataCollectorDBCtrlConfig(*main, paths[AIO], paths[DIO], paths[RS485], paths[RS232], paths[TEMPERATURE],
                                paths[SNMP]);
  ReadDataCollectorDBCtrlUpdateConfig(*main, paths[AIO], paths[DIO], paths[RS485], paths[RS232],
                                      paths[TEMPERATURE], paths[SNMP]);
}

}  // namespace

const PresentKey* SurveyedFile::Present(const std::string& name) const {
  for (const PresentKey& key : present) {
    if (key.name == name) {
      return &key;
    }
  }
  return nullptr;
}

WantedKey& SurveyedFile::Wanted(const std::string& name) {
  for (WantedKey& key : wanted) {
    if (key.name == name) {
      return key;
    }
  }
  wanted.push_back({});
  wanted.back().name = name;
  return wanted.back();
}

ConfigSurvey SurveyConfiguration(const std::string& root, GatewayTree& tree) {
  ConfigSurvey survey;
  for (std::size_t index = 0; index < kConfigFiles; ++index) {
    SurveyedFile& file = survey.files[index];
    file.path = RootedPath(root.c_str(), ConfigFilePaths()[index]).c_str();
    struct stat status {};
    file.there = ::lstat(file.path.c_str(), &status) == 0;
    file.regular = ::stat(file.path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    if (AreFilesReadable(root) && file.regular && !ConfigSurvey::IsColumnFile(index)) {
      ReadKeys(file);
    }
  }
  watching = &survey;
  gConfigObserver = &kObserver;
  forEnabled = true;
  tree = LoadGateway(root);
  forEnabled = false;
  if (AreFilesReadable(root)) {
    const Silence silence;
    ReadForAllKinds(survey);
  }
  gConfigObserver = nullptr;
  watching = nullptr;
  return survey;
}

}  // namespace datacollector::ctl
