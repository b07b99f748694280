// Files and keys.

#include <unistd.h>

#include <algorithm>
#include <numeric>

#include "Checks.h"

namespace datacollector::ctl {
namespace {

constexpr std::size_t kTypingSlips = 3;  // letters by which a key may be misspelt

// Keys that may be missing: topic numbers without a meaning, and what an operator may switch on.
constexpr std::array<const char*, 4> kOptionalKeys = {"SubscribeTopic18", "SubscribeTopic19", "KeepSession",
                                                      "ForwardingRoundPauseInMilliSec"};

// The files of one kind count only when it is enabled.
bool Counts(const CheckInput& input, std::size_t index) {
  if (index < kColumnFiles || index >= kVersionFile) {
    return true;
  }
  return input.Looks(kAllKinds[(index - kColumnFiles) % kSourceKinds]);
}

void CheckFile(const SurveyedFile& file, Findings& findings) {
  if (!file.there) {
    findings.Add(Code::FileMissing, file.path, "is not there");
  } else if (!file.regular) {
    findings.Add(Code::FileUnreadable, file.path, "is no regular file, or larger than 1 MB");
  } else if (::access(file.path.c_str(), R_OK) != 0) {
    findings.Add(Code::FileUnreadable, file.path, "can't be read");
  } else if (!file.error.empty()) {
    findings.Add(Code::Syntax, file.path, file.error, file.errorLine);
  }
}

// The key that was probably meant: the nearest of those that are looked up and not there.
std::string Meant(const SurveyedFile& file, const std::string& key) {
  std::string nearest;
  std::size_t best = kTypingSlips + 1;
  for (const WantedKey& wanted : file.wanted) {
    if (file.Present(wanted.name) == nullptr && Distance(wanted.name, key) < best) {
      best = Distance(wanted.name, key);
      nearest = wanted.name;
    }
  }
  return nearest;
}

void CheckPresent(const SurveyedFile& file, Findings& findings) {
  for (const PresentKey& key : file.present) {
    const bool wanted =
        std::ranges::any_of(file.wanted, [&](const WantedKey& row) { return row.name == key.name; });
    if (!wanted) {
      const std::string meant = Meant(file, key.name);
      findings.Add(
          Code::UnknownKey, file.path,
          "nobody looks up '" + key.name + "'" + (meant.empty() ? "" : "; '" + meant + "' is meant?"),
          key.line);
    }
  }
}

void CheckWanted(const SurveyedFile& file, const WantedKey& wanted, Findings& findings) {
  const PresentKey* key = file.Present(wanted.name);
  if (key == nullptr) {
    if (std::ranges::find(kOptionalKeys, wanted.name) == kOptionalKeys.end()) {
      findings.Add(Code::MissingKey, file.path, "'" + wanted.name + "' is missing");
    }
    return;
  }
  if (wanted.text ? !key->text : !key->number) {
    findings.Add(
        Code::WrongType, file.path,
        "'" + wanted.name + "' must be a " + (wanted.text ? "text in quotes" : "whole number without quotes"),
        key->line);
  } else if (wanted.stored && wanted.storedValue != key->value) {
    findings.Add(Code::OutOfRange, file.path,
                 "'" + wanted.name + "' = " + std::to_string(key->value) + " is stored as " +
                     std::to_string(wanted.storedValue),
                 key->line);
  } else if (wanted.cut) {
    findings.Add(Code::TextCut, file.path, "'" + wanted.name + "' is cut", key->line);
  }
}

}  // namespace

std::size_t Distance(const std::string& one, const std::string& other) {
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), 0U);
  for (const char left : one) {
    std::size_t corner = row[0]++;
    for (std::size_t right = 0; right < other.size(); ++right) {
      const std::size_t changed = corner + (left == other[right] ? 0 : 1);
      corner = row[right + 1];
      row[right + 1] = std::min({changed, corner + 1, row[right] + 1});
    }
  }
  return row.back();
}

void CheckFiles(const CheckInput& input, Findings& findings) {
  for (std::size_t index = 0; index < kConfigFiles; ++index) {
    const SurveyedFile& file = input.survey.files[index];
    if (!Counts(input, index)) {
      continue;
    }
    CheckFile(file, findings);
    if (ConfigSurvey::IsColumnFile(index) || file.present.empty()) {
      continue;
    }
    CheckPresent(file, findings);
    for (const WantedKey& wanted : file.wanted) {
      if (wanted.forEnabled) {
        CheckWanted(file, wanted, findings);
      }
    }
  }
}

}  // namespace datacollector::ctl
