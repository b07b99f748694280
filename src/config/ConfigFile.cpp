#include "config/ConfigFile.h"

#include "ground/Trace.h"

namespace datacollector {

const ConfigObserver* gConfigObserver = nullptr;

ConfigFile::ConfigFile(const char* path) : path_(path), config_{} {
  ::config_init(&config_);
  read_ = ::config_read_file(&config_, path) == CONFIG_TRUE;
}

ConfigFile::~ConfigFile() { ::config_destroy(&config_); }

bool ConfigFile::CheckRead() const {
  if (!read_) {
    // libconfig names no file when it could not open one.
    const char* file = config_error_file(&config_);
    PrintError("%s:%d - %s\n", file == nullptr ? path_ : file, config_error_line(&config_),
               config_error_text(&config_));
  }
  return read_;
}

void ConfigFile::Observe(const char* key, bool text) const {
  if (gConfigObserver != nullptr) {
    gConfigObserver->lookedUp(path_, key, text);
  }
}

// The settings in front of a syntax error stay in the libconfig object, so it is not asked then.
std::optional<int> ConfigFile::Number(const char* key) const {
  Observe(key, false);
  int value = 0;
  if (!read_ || ::config_lookup_int(&config_, key, &value) != CONFIG_TRUE) {
    return std::nullopt;
  }
  return value;
}

const char* ConfigFile::Text(const char* key) const {
  Observe(key, true);
  const char* text = nullptr;
  return read_ && ::config_lookup_string(&config_, key, &text) == CONFIG_TRUE ? text : nullptr;
}

}  // namespace datacollector
