// One libconfig file: read once, looked up by key, released with the object.
#pragma once

#include <libconfig.h>

#include <optional>

namespace datacollector {

// Told what the readers do, for a program that checks a configuration with them. Each call names a file and a
// key of it.
struct ConfigObserver {
  void (*lookedUp)(const char* path, const char* key, bool text);
  void (*stored)(const char* path, const char* key, long value);  // a number, as the record holds it
  void (*cut)(const char* path, const char* key, unsigned long limit);
};
extern const ConfigObserver* gConfigObserver;  // nullptr: nobody; set while no other thread reads

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
  void Observe(const char* key, bool text) const;

  const char* path_;
  config_t config_;
  bool read_ = false;
};

}  // namespace datacollector
