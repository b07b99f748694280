#include "faults/bench/PowerCuts.h"

#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "gateway/harness/Kinds.h"
#include "gateway/harness/Table.h"

namespace datacollector::faults {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFolder = "/vorl/disk/AppData/K740/DataCollector/Db";
constexpr const char* kRebuilt = "/tmp/rebuilt";
constexpr int kBusyMilliseconds = 5000;

int AppendRow(void* text, int count, char** values, char** /*names*/) {
  for (int i = 0; i < count; ++i) {
    *static_cast<std::string*>(text) += std::string(values[i] == nullptr ? "NULL" : values[i]) + "|";
  }
  *static_cast<std::string*>(text) += "\n";
  return 0;
}

std::string NameOf(Keeps keeps) {
  constexpr const char* kNames[] = {"nothing unsynced", "everything", "some calls", "some sectors"};
  return kNames[static_cast<std::size_t>(keeps)];
}

}  // namespace

std::string ContentOf(const std::string& databaseFile, SourceKind kind, Access access) {
  if (!fs::exists(databaseFile) || fs::file_size(databaseFile) == 0) {
    return kNoDatabase;
  }
  sqlite3* handle = nullptr;
  sqlite3_open_v2(databaseFile.c_str(), &handle,
                  access == Access::Reader ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE, nullptr);
  const std::unique_ptr<sqlite3, int (*)(sqlite3*)> closer(handle, sqlite3_close);
  sqlite3_busy_timeout(handle, kBusyMilliseconds);
  std::string text;
  const std::string rows =
      "SELECT rowid, * FROM " + std::string(gateway::FactsOf(kind).table) + " ORDER BY rowid";
  for (const std::string& query : {std::string("PRAGMA integrity_check"), rows}) {
    if (sqlite3_exec(handle, query.c_str(), AppendRow, &text, nullptr) != SQLITE_OK) {
      return std::string("unreadable: ") + sqlite3_errmsg(handle);
    }
  }
  return text;
}

PowerCuts::PowerCuts(Faults& faults, SourceKind kind)
    : faults_(faults), kind_(kind), start_(kFolder), skipped_(faults.Changes().size()) {
  faults_.Record(true);
  Promise();
}

void PowerCuts::Note(bool promised) {
  const std::size_t changes = faults_.Changes().size() - skipped_;
  moments_.push_back({changes, ContentOf(gateway::DatabaseOf(kind_), kind_, Access::Reader), promised});
}

bool PowerCuts::IsAllowed(const std::string& content, std::size_t changes) const {
  std::size_t next = 0;
  for (std::size_t moment = 0; moment < moments_.size(); ++moment) {
    next = moments_[moment].promised && moments_[moment].changes <= changes ? moment : next;
  }
  while (moments_[next].content != content) {
    ++next;
    if (next == moments_.size() || (moments_[next - 1].promised && moments_[next - 1].changes > changes)) {
      return false;
    }
  }
  return true;
}

const std::string& PowerCuts::Recovered(const Files& files) {
  std::string digest;
  for (const auto& [name, content] : files) {
    digest += name + " " + std::to_string(content.size()) + " " +
              std::to_string(std::hash<std::string>{}(content)) + "\n";
  }
  const auto [place, isNew] = recovered_.try_emplace(digest);
  if (isNew) {
    Restore(files, kFolder, kRebuilt);
    const std::string file = std::string(kRebuilt) + "/" + gateway::FactsOf(kind_).databaseFile;
    place->second = ContentOf(file, kind_, Access::Successor);
  }
  return place->second;
}

void PowerCuts::Check(const Disk& disk, Keeps keeps, std::mt19937& random, std::size_t changes,
                      Result& result) {
  const std::string& content = Recovered(disk.AfterCut(keeps, random));
  ++result.states;
  if (!IsAllowed(content, changes)) {
    result.findings.push_back("cut after change " + std::to_string(changes) + " of " +
                              std::to_string(result.changes) + ", kept: " + NameOf(keeps) + "; found:\n" +
                              content);
  }
}

PowerCuts::Result PowerCuts::CutEverywhere(int seeds, std::uint32_t seed) {
  faults_.Record(false);
  std::vector<ChangeEntry> changes = faults_.Changes();
  changes.erase(changes.begin(), changes.begin() + static_cast<std::ptrdiff_t>(skipped_));
  Result result{.changes = changes.size(), .states = 0, .findings = {}};
  std::mt19937 random(seed);
  Disk disk = start_;
  for (std::size_t done = 0; done <= changes.size(); ++done) {
    Check(disk, Keeps::Nothing, random, done, result);
    Check(disk, Keeps::Everything, random, done, result);
    for (int round = 0; round < seeds; ++round) {
      Check(disk, Keeps::SomeCalls, random, done, result);
      Check(disk, Keeps::SomeSectors, random, done, result);
    }
    if (done < changes.size()) {
      disk.Apply(changes[done]);
    }
  }
  fs::remove_all(kRebuilt);
  return result;
}

void PowerCuts::CutOnce(std::uint32_t seed) const {
  std::mt19937 random(seed);
  const std::vector<ChangeEntry> changes = faults_.Changes();
  const std::size_t count = random() % (changes.size() - skipped_ + 1);
  Disk disk = start_;
  for (std::size_t change = skipped_; change < skipped_ + count; ++change) {
    disk.Apply(changes[change]);
  }
  Restore(disk.AfterCut(Keeps::SomeSectors, random), kFolder, kFolder);
}

}  // namespace datacollector::faults
