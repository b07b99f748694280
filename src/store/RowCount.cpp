#include "store/RowCount.h"

#include <array>

#include "ground/FixedText.h"

namespace datacollector {
namespace {

constexpr const char* kVersionQuery = "PRAGMA data_version";

// 0 where an insertion can only add the one row.
constexpr const char* kSurprisesFormat =
    "SELECT (SELECT COUNT(*) FROM sqlite_master WHERE type = 'trigger' AND tbl_name = '%s' COLLATE NOCASE)"
    " + (SELECT COUNT(*) FROM sqlite_master WHERE type = 'view' AND name = '%s' COLLATE NOCASE)"
    " + (SELECT COUNT(*) FROM pragma_index_list('%s') WHERE \"unique\" = 1)"
    " + (SELECT COUNT(*) FROM pragma_table_info('%s') WHERE pk > 0)";

// Under the kind's lock.
struct Memory {
  std::uint32_t opening = 0;  // of the connection; 0: nothing is remembered
  std::int64_t version = 0;   // of the data, as the connection sees what others have changed
  std::int64_t rows = 0;
};
std::array<Memory, kSourceKinds> memories;

bool IsPlain(Database& database, const char* table) {
  FixedText<1200> query{};
  std::int64_t surprises = 1;
  return query.Format(kSurprisesFormat, table, table, table, table) &&
         database.Run(query.c_str(), {}, &surprises) && surprises == 0;
}

}  // namespace

std::optional<std::int64_t> RememberedRows(SourceKind kind, Database& database) {
  const Memory& memory = memories[kind];
  std::int64_t version = 0;
  if (memory.opening == 0 || memory.opening != database.Opening() ||
      !database.Run(kVersionQuery, {}, &version) || version != memory.version) {
    return std::nullopt;
  }
  return memory.rows;
}

// The version is read behind the count: a change between the two makes the next count, at the latest, a new
// one.
void RememberRows(SourceKind kind, Database& database, const char* table, std::int64_t rows) {
  Memory& memory = memories[kind];
  memory = {};
  std::int64_t version = 0;
  if (IsPlain(database, table) && database.Run(kVersionQuery, {}, &version)) {
    memory = {database.Opening(), version, rows};
  }
}

void AddRows(SourceKind kind, std::int64_t rows) { memories[kind].rows += rows; }

void ForgetRows(SourceKind kind) { memories[kind] = {}; }

}  // namespace datacollector
