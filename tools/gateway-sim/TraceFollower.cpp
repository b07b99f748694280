#include "TraceFollower.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Kinds.h"
#include "Ledger.h"
#include "ground/SourceKind.h"

namespace datacollector::sim {
namespace {

// Every line of interest holds this word; the others, nearly all of them, are passed over at once.
constexpr std::string_view kWord = "Success";

}  // namespace

TraceFollower::TraceFollower(std::string path, std::vector<SourceKind> kinds, Ledger& ledger)
    : path_(std::move(path)), kinds_(std::move(kinds)), ledger_(ledger) {
  if (OpenFile()) {
    lseek(descriptor_, 0, SEEK_END);
  }
}

TraceFollower::~TraceFollower() {
  if (descriptor_ >= 0) {
    close(descriptor_);
  }
}

bool TraceFollower::OpenFile() {
  if (!path_.empty() && descriptor_ < 0) {
    descriptor_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  }
  return descriptor_ >= 0;
}

void TraceFollower::Tick() {
  if (!OpenFile()) {
    return;
  }
  struct stat status {};
  if (fstat(descriptor_, &status) == 0 && status.st_size < lseek(descriptor_, 0, SEEK_CUR)) {
    lseek(descriptor_, 0, SEEK_SET);
    rest_.clear();
  }
  std::array<char, 65536> buffer{};
  ssize_t length = 0;
  while ((length = read(descriptor_, buffer.data(), buffer.size())) > 0) {
    TakeText({buffer.data(), static_cast<std::size_t>(length)});
  }
}

void TraceFollower::TakeText(std::string_view text) {
  for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
    if (rest_.empty()) {
      TakeLine(text.substr(0, end));
    } else {
      rest_.append(text.substr(0, end));
      TakeLine(rest_);
      rest_.clear();
    }
    text.remove_prefix(end + 1);
  }
  rest_.append(text);
}

// The daemon prints some texts without a line end, so what is looked for may stand behind another text.
void TraceFollower::TakeLine(std::string_view line) {
  if (line.find(kWord) == std::string_view::npos) {
    return;
  }
  for (const SourceKind kind : kinds_) {
    const KindProfile& profile = ProfileOf(kind);
    if (line.find(profile.storedText) != std::string_view::npos) {
      ledger_.Stored(kind);
      return;
    }
    const std::size_t applied = line.find(profile.appliedText);
    if (applied != std::string_view::npos) {
      const std::string number(line.substr(applied + std::string_view(profile.appliedText).size()));
      ledger_.Applied(kind, std::strtoul(number.c_str(), nullptr, 10));
      return;
    }
  }
}

}  // namespace datacollector::sim
