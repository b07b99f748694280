// What the settings mean together: counts, intervals, columns.

#include <algorithm>

#include "Checks.h"
#include "TryRecord.h"
#include "config/DatabaseConfig.h"
#include "ground/KindShape.h"

namespace datacollector::ctl {
namespace {

std::vector<std::string> ColumnsOf(const DatabaseConfig& config) {
  std::vector<std::string> columns;
  for (std::size_t index = 0; index < config.ui16_NoOfColumns; ++index) {
    columns.emplace_back(config.i8_ColumnNames[index].view());
  }
  return columns;
}

void CheckSources(const CheckInput& input, Findings& findings) {
  const SurveyedFile& file = input.survey.files[kSourcesFile];
  const auto enabled = [&](const PresentKey& key) {
    return key.name.ends_with("DataSourceEnable") && key.number && key.value == 1;
  };
  for (const PresentKey& key : file.present) {
    const bool read =
        std::ranges::any_of(file.wanted, [&](const WantedKey& row) { return row.name == key.name; });
    if (enabled(key) && !read) {
      findings.Add(Code::CountLow, file.path, "'" + key.name + "' lies beyond the count of its group",
                   key.line);
    }
  }
  if (std::ranges::none_of(kAllKinds, [&](SourceKind kind) {
        return IsSourceEnabled(input.tree.main->DataCollectorSourcesConfig, kind);
      })) {
    findings.Add(Code::NoKinds, file.path, "no kind is enabled");
  }
}

void CheckIntervals(const CheckInput& input, SourceKind kind, Findings& findings) {
  const DataCollectorSourcesConfig& sources = input.tree.main->DataCollectorSourcesConfig;
  for (std::size_t line = 0; line < (kind == RS485 ? kKinds[RS485].sources : 1); ++line) {
    if (IsLineEnabled(sources, kind, line) && PublishInterval(sources, kind, line) <= 0) {
      findings.Add(Code::IntervalZero, input.survey.files[kSourcesFile].path,
                   std::string("the publish interval of ") + kKindIndexWord[kind] +
                       (kind == RS485 ? " line " + std::to_string(line + 1) : "") + " is 0 or less");
    }
  }
}

// A column by meaning; a list where the key may name several.
struct NamedColumn {
  const char* use;
  const FixedText<500> DatabaseParams::*name;
};
constexpr std::array<NamedColumn, 9> kNamedColumns = {{
    {"the request id", &DatabaseParams::i8_RequestIdColumn},
    {"the record id", &DatabaseParams::i8_RecordIDColumn},
    {"the read time", &DatabaseParams::i8_RecordReadTimeColumn},
    {"the write time", &DatabaseParams::i8_RecordWriteTimeColumn},
    {"the transmission status", &DatabaseParams::i8_TxStatusColumn},
    {"the transmission time", &DatabaseParams::i8_TxStatusTimeColumn},
    {"the start mark", &DatabaseParams::i8_StartMarkColumn},
    {"the end mark", &DatabaseParams::i8_EndMarkColumn},
    {"the meter index", &DatabaseParams::i8_MeterIndexColumn},
}};

struct ColumnCheck {
  const std::string& path;
  const std::vector<std::string>& columns;
  Findings& findings;

  // SQLite compares names without regard to case.
  bool Has(const std::string& name) const {
    return std::ranges::any_of(columns, [&](const std::string& column) {
      return column.size() == name.size() &&
             std::ranges::equal(column, name, [](unsigned char a, unsigned char b) {
               return std::tolower(a) == std::tolower(b);
             });
    });
  }

  void Names(const std::string& list, const std::string& use) const {
    for (std::size_t start = 0; start < list.size();) {
      const std::size_t end = std::min(list.find(',', start), list.size());
      const std::string name = list.substr(start, end - start);
      if (!Has(name)) {
        std::string text = "'";
        text.append(name).append("', named for ").append(use).append(", is no column");
        findings.Add(Code::ColumnUnknown, path, text);
      }
      start = end + 1;
    }
  }
};

// The number stands where the packer puts it, the read time in front of the end mark.
void CheckPlaces(const CheckInput& input, SourceKind kind, const ColumnCheck& check) {
  const DatabaseConfig& config = input.tree.main->DataCollectorDBConfig[kind];
  const DatabaseParams& params = input.tree.main->DataCollectorDBParams[kind];
  const std::size_t place = PlaceOfRecordNumber(*input.tree.main, kind);
  if (place >= check.columns.size() || check.columns[place] != config.i8_RecordNumber.view()) {
    check.findings.Add(Code::NumberPlace, check.path,
                       "column " + std::to_string(place + 1) + " takes the record number and must be '" +
                           config.i8_RecordNumber.c_str() + "'");
  }
  const std::string readTime = check.columns.size() < 2 ? "" : check.columns[check.columns.size() - 2];
  if (params.i8_RecordReadTimeColumn.view() != readTime ||
      params.i8_RecordWriteTimeColumn.view() != readTime) {
    check.findings.Add(Code::TimeColumns, input.survey.files[kControlFiles + kind].path,
                       "write-time and read-time keys must both be '" + readTime + "'");
  }
}

void CheckColumns(const CheckInput& input, SourceKind kind, Findings& findings) {
  const DatabaseConfig& config = input.tree.main->DataCollectorDBConfig[kind];
  const DatabaseParams& params = input.tree.main->DataCollectorDBParams[kind];
  const std::string& columnPath = input.survey.files[kColumnFiles + kind].path;
  const std::string& controlPath = input.survey.files[kControlFiles + kind].path;
  const std::vector<std::string> columns = ColumnsOf(config);
  if (columns.empty() || config.i8_DatabaseName.empty() || config.i8_TableName.empty()) {
    findings.Add(Code::ColumnsMissing, columnPath, "names no database, no table or no columns");
    return;
  }
  const ColumnCheck named{controlPath, columns, findings};
  for (const NamedColumn& column : kNamedColumns) {
    named.Names((params.*column.name).c_str(), column.use);
  }
  named.Names(config.i8_RecordNumber.c_str(), "the record number");
  for (const FixedText<500>& values : params.i8_ValueColumns) {
    named.Names(values.c_str(), "the values");
  }
  for (const FixedText<50>& value : params.i8_EMeterREG) {
    named.Names(value.c_str(), "the registers");
  }
  CheckPlaces(input, kind, {columnPath, columns, findings});
  if (config.i8_DatabaseName.view() != params.i8_DatabaseName.view() ||
      config.i8_TableName.view() != params.i8_TableName.view()) {
    findings.Add(Code::DatabaseDiffers, controlPath,
                 std::string("names ") + params.i8_DatabaseName.c_str() + " " + params.i8_TableName.c_str() +
                     ", the column file " + config.i8_DatabaseName.c_str() + " " +
                     config.i8_TableName.c_str());
  }
  if (config.ui16_MAXRecords == 0) {
    findings.Add(Code::RowLimit, controlPath, "the row limit is 0");
  }
}

}  // namespace

void CheckSettings(const CheckInput& input, Findings& findings) {
  CheckSources(input, findings);
  const SurveyedFile& generic = input.survey.files[kGenericFile];
  if (generic.Present("MainWhileLoopSleepInterval") != nullptr &&
      input.tree.main->ui16_MainWhileLoopSleepInterval == 0) {
    findings.Add(Code::IntervalZero, generic.path, "the main loop has no pause",
                 generic.Present("MainWhileLoopSleepInterval")->line);
  }
  for (const SourceKind kind : kAllKinds) {
    if (input.Looks(kind)) {
      CheckIntervals(input, kind, findings);
      CheckColumns(input, kind, findings);
    }
  }
}

}  // namespace datacollector::ctl
