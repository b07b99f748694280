// One libconfig file: read once, looked up by key, released with the object.
#pragma once

#include <libconfig.h>

#include <optional>

namespace datacollector {

class ConfigFile {
 public:
  // Reads the file and prints nothing. `path` must outlive the object.
  explicit ConfigFile(const char* path);
  ~ConfigFile();
  ConfigFile(const ConfigFile&) = delete;
  ConfigFile(ConfigFile&&) = delete;
  ConfigFile& operator=(const ConfigFile&) = delete;
  ConfigFile& operator=(ConfigFile&&) = delete;

  const char* Path() const { return path_; }
  bool IsRead() const { return read_; }

  // Whether the file could be read; if not, prints "<file>:<line> - <reason>" on standard error.
  bool CheckRead() const;

  // The value of a key; nothing when the key is missing, is of another type, or the file can't be read.
  std::optional<int> Number(const char* key) const;

  // The same for a text, nullptr for nothing. The text belongs to this object.
  const char* Text(const char* key) const;

 private:
  const char* path_;
  config_t config_;
  bool read_ = false;
};

}  // namespace datacollector
