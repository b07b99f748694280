// A disk as a power cut leaves it, rebuilt from recorded changes.
//
// What counts as safe is what the calls promise and no more: the content of a file after its sync, a name
// after the sync of its folder. Of everything else the cut may have kept any part.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "faults/bench/Faults.h"

namespace datacollector::faults {

// What a cut keeps of the changes that no sync has covered.
enum class Keeps : std::uint8_t {
  Nothing,
  Everything,
  SomeCalls,    // any of the writes, the first few changes of names
  SomeSectors,  // the same, and of a write any of its sectors of 512 bytes
};

using Files = std::map<std::string, std::string>;  // by path

class Disk {
 public:
  // A disk that holds the files of a folder safely.
  explicit Disk(const std::filesystem::path& folder);

  // Shares nothing with the other one, whose names must all be safe.
  Disk(const Disk& other);
  Disk& operator=(const Disk&) = delete;
  ~Disk() = default;

  void Apply(const ChangeEntry& entry);

  Files AfterCut(Keeps keeps, std::mt19937& random) const;

 private:
  struct DataChange {
    bool truncates;
    std::uint64_t offset;  // or the new length
    std::string data;
  };
  struct File {
    std::string safe;
    std::vector<DataChange> open;  // no sync has covered them
  };
  using FilePointer = std::shared_ptr<File>;
  using Names = std::map<std::string, FilePointer>;
  using NameChange =
      std::vector<std::pair<std::string, FilePointer>>;  // happens as a whole; nullptr: removed

  static void Change(Names& names, const NameChange& change);
  static void Write(std::string& content, std::uint64_t offset, std::string_view data);
  static void Change(std::string& content, const DataChange& change);
  static std::string ContentAfterCut(const File& file, Keeps keeps, std::mt19937& random);
  static void WriteSomeSectors(std::string& content, const DataChange& change, std::mt19937& random);
  FilePointer FileAt(const std::string& path);
  void ChangeName(NameChange change);
  void SyncFolder(const std::string& path);

  Names safe_;
  Names current_;
  std::vector<NameChange> open_;
};

// Puts files where they belong, and nothing else into the folder.
void Restore(const Files& files, const std::filesystem::path& from, const std::filesystem::path& to);

}  // namespace datacollector::faults
