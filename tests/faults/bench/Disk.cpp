#include "faults/bench/Disk.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <utility>

namespace datacollector::faults {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kSector = 512;

// Shared memory is gone with the power.
bool IsSharedMemory(const std::string& path) { return path.ends_with("-shm"); }

std::string ContentOf(const fs::path& path) {
  std::stringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

bool Tossed(std::mt19937& random) { return (random() & 1U) != 0; }

}  // namespace

Disk::Disk(const fs::path& folder) {
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file() && !IsSharedMemory(entry.path())) {
      safe_[entry.path()] = std::make_shared<File>(File{.safe = ContentOf(entry.path()), .open = {}});
    }
  }
  current_ = safe_;
}

Disk::Disk(const Disk& other) {
  for (const auto& [name, file] : other.safe_) {
    safe_[name] = std::make_shared<File>(*file);
  }
  current_ = safe_;
}

void Disk::Change(Names& names, const NameChange& change) {
  for (const auto& [name, file] : change) {
    if (file) {
      names[name] = file;
    } else {
      names.erase(name);
    }
  }
}

void Disk::Write(std::string& content, std::uint64_t offset, std::string_view data) {
  content.resize(std::max<std::size_t>(content.size(), offset + data.size()), '\0');
  content.replace(offset, data.size(), data);
}

void Disk::Change(std::string& content, const DataChange& change) {
  if (change.truncates) {
    content.resize(change.offset, '\0');
  } else {
    Write(content, change.offset, change.data);
  }
}

Disk::FilePointer Disk::FileAt(const std::string& path) {
  const auto found = current_.find(path);
  if (found != current_.end()) {
    return found->second;
  }
  auto file = std::make_shared<File>();
  ChangeName({{path, file}});
  return file;
}

void Disk::ChangeName(NameChange change) {
  Change(current_, change);
  open_.push_back(std::move(change));
}

void Disk::SyncFolder(const std::string& path) {
  std::vector<NameChange> left;
  for (NameChange& change : open_) {
    const bool here = std::any_of(change.begin(), change.end(), [&path](const auto& name) {
      return fs::path(name.first).parent_path() == path;
    });
    if (here) {
      Change(safe_, change);
    } else {
      left.push_back(std::move(change));
    }
  }
  open_ = std::move(left);
}

void Disk::Apply(const ChangeEntry& entry) {
  if (IsSharedMemory(entry.path)) {
    return;
  }
  switch (entry.change) {
    case Change::Write:
      FileAt(entry.path)->open.push_back({false, entry.offset, entry.data});
      break;
    case Change::Truncate:
      FileAt(entry.path)->open.push_back({true, entry.offset, ""});
      break;
    case Change::Create:
      FileAt(entry.path);
      break;
    case Change::Rename:
      ChangeName({{entry.path, nullptr}, {entry.secondPath, FileAt(entry.path)}});
      break;
    case Change::Link:
      ChangeName({{entry.secondPath, FileAt(entry.path)}});
      break;
    case Change::Unlink:
      ChangeName({{entry.path, nullptr}});
      break;
    case Change::Sync:
      if (!current_.contains(entry.path)) {
        SyncFolder(entry.path);
      } else {
        File& file = *current_.at(entry.path);
        for (const DataChange& change : file.open) {
          Change(file.safe, change);
        }
        file.open.clear();
      }
      break;
  }
}

void Disk::WriteSomeSectors(std::string& content, const DataChange& change, std::mt19937& random) {
  const std::string_view data = change.data;
  std::uint64_t done = 0;
  while (done < data.size()) {
    const std::uint64_t at = change.offset + done;
    const std::uint64_t length = std::min<std::uint64_t>(kSector - at % kSector, data.size() - done);
    if (Tossed(random)) {
      Write(content, at, data.substr(done, length));
    }
    done += length;
  }
}

std::string Disk::ContentAfterCut(const File& file, Keeps keeps, std::mt19937& random) {
  std::string content = file.safe;
  for (const DataChange& change : file.open) {
    if (keeps == Keeps::Nothing || (keeps != Keeps::Everything && !Tossed(random))) {
      continue;
    }
    if (keeps == Keeps::SomeSectors && !change.truncates) {
      WriteSomeSectors(content, change, random);
    } else {
      Change(content, change);
    }
  }
  return content;
}

Files Disk::AfterCut(Keeps keeps, std::mt19937& random) const {
  Names names = safe_;
  std::size_t kept = keeps == Keeps::Everything ? open_.size() : 0;
  if (keeps == Keeps::SomeCalls || keeps == Keeps::SomeSectors) {
    kept = random() % (open_.size() + 1);
  }
  for (std::size_t change = 0; change < kept; ++change) {
    Change(names, open_[change]);
  }
  Files files;
  for (const auto& [name, file] : names) {
    files[name] = ContentAfterCut(*file, keeps, random);
  }
  return files;
}

void Restore(const Files& files, const fs::path& from, const fs::path& to) {
  fs::remove_all(to);
  fs::create_directories(to);
  for (const auto& [name, content] : files) {
    const fs::path path = to / fs::relative(name, from);
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
  }
}

}  // namespace datacollector::faults
