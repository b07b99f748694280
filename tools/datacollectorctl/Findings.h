// What a check can find: one table for the program and its manual.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "Verdicts.h"

namespace datacollector::ctl {

enum class Code : std::size_t {
  FileMissing,
  FileUnreadable,
  Syntax,
  UnknownKey,
  MissingKey,
  WrongType,
  OutOfRange,
  TextCut,
  NoKinds,
  CountLow,
  IntervalZero,
  ColumnsMissing,
  ColumnUnknown,
  NumberPlace,
  TimeColumns,
  DatabaseDiffers,
  RowLimit,
  TopicEmpty,
  TopicTwice,
  TopicOdd,
  TopicWildcard,
  DatabaseEmpty,
  DatabaseDamaged,
  DatabaseUnreadable,
  TableMissing,
  TableDiffers,
  IndexMissing,
  LimitRaised,
  LimitLowered,
  FolderRights,
  DiskFull,
  DiskSmall,
  ScriptMissing,
  BrokerDown,
  WanMissing,
  RotationMissing,
  ClockWrong,
  Count
};

struct FindingRow {
  Code code;
  const char* name;
  Severity severity;
  const char* meaning;
  const char* remedy;
};
const FindingRow& RowOf(Code code);

struct Finding {
  Code code;
  std::string file;
  int line;  // 0: none
  std::string text;
};

class Findings {
 public:
  void Add(Code code, const std::string& file, const std::string& text, int line = 0) {
    all_.push_back({code, file, line, text});
  }
  const std::vector<Finding>& All() const { return all_; }
  Severity Worst() const;  // Note where there are none

 private:
  std::vector<Finding> all_;
};

}  // namespace datacollector::ctl
