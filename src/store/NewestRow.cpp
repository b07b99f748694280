#include "store/NewestRow.h"

#include <strings.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ground/Numbers.h"
#include "store/RecordData.h"

namespace datacollector {
namespace {

// Where a record text's fields stand, seen from its data: five fields of the gateway come right before them,
// the first of which is the record type, and two behind them.
constexpr std::size_t kTypeBeforeData = 5;
constexpr std::size_t kRequestIdBeforeData = 4;
constexpr std::size_t kFieldsBehindData = 2;
constexpr std::size_t kMeterIndexColumn = 1;

using ColumnNames = std::array<FixedText<500>, kMaxColumns>;
using ComparisonText = FixedText<16000>;

bool IsChangedByConfirmations(const DatabaseParams& params, const char* column) {
  return ::strcasecmp(column, params.i8_TxStatusColumn.c_str()) == 0 ||
         ::strcasecmp(column, params.i8_TxStatusTimeColumn.c_str()) == 0;
}

// The statement that compares the newest row. The values stand in a row of their own that knows no column of
// the table: a text in double quotes could be read as a column's name where it does.
class Comparison {
 public:
  explicit Comparison(const ColumnNames& columns) : columns_(columns) {}

  // `literal` is a format of the number.
  void With(std::size_t column, const char* literal, std::int32_t number) {
    FixedText<20> text{};
    text.Format(literal, number);
    Add(literals_, text.c_str());
    Add(literals_, ",");
    Expect(column);
  }

  // A list of literals for the columns from `first` on; the last of the values.
  void WithList(std::size_t first, std::size_t count, const char* list, const DatabaseParams& params) {
    Add(literals_, list);
    for (std::size_t column = first; column < first + count; ++column) {
      if (IsChangedByConfirmations(params, columns_[column].c_str())) {
        AddName();
      } else {
        Expect(column);
      }
    }
  }

  // False when there is no room for all of it.
  bool Write(const char* table, ComparisonText& statement) const {
    return fits_ && statement.Format(
                        "WITH received(%s) AS (VALUES (%s)) SELECT COUNT(*) FROM %s AS newest, received "
                        "WHERE newest.oid = (SELECT MAX(oid) FROM %s)%s",
                        names_.c_str(), literals_.c_str(), table, table, conditions_.c_str());
  }

 private:
  template <std::size_t Length>
  void Add(FixedText<Length>& text, const char* more) {
    fits_ = text.Append(more) && fits_;
  }

  // Returns the name.
  FixedText<7> AddName() {
    FixedText<7> name{};
    name.Format("v%zu", count_);
    Add(names_, count_ == 0 ? "" : ",");
    Add(names_, name.c_str());
    ++count_;
    return name;
  }

  void Expect(std::size_t column) {
    Add(conditions_, " AND newest.");
    Add(conditions_, columns_[column].c_str());
    Add(conditions_, " IS received.");
    Add(conditions_, AddName().c_str());
  }

  const ColumnNames& columns_;
  std::size_t count_ = 0;
  bool fits_ = true;
  FixedText<1000> names_{};
  RecordText literals_{};
  FixedText<8000> conditions_{};
};

// What the message decides of a record, as a list of literals beside the columns that are to hold them. False
// where the record has not one value for each column: then it is no row of this table.
bool WriteComparison(const DataCollectorMainStructure& main, SourceKind kind, const RecordOrigin& origin,
                     ComparisonText& statement) {
  const DatabaseConfig& config = main.DataCollectorDBConfig[kind];
  const ReceivedRecord record = ReceivedRecordOf(main, kind, origin);
  const std::size_t fields = CountLiterals(record.data).value_or(0);
  const std::size_t columns = Bounded(config.ui16_NoOfColumns, kMaxColumns);
  if (fields == 0 || columns < kTypeBeforeData + fields + kFieldsBehindData) {
    return false;
  }
  const std::size_t data = columns - kFieldsBehindData - fields;
  Comparison comparison(config.i8_ColumnNames);
  comparison.With(data - kTypeBeforeData, "%d", record.recordType);
  comparison.With(data - kRequestIdBeforeData, "%d", record.requestId);
  if (record.hasMeterIndex) {
    comparison.With(kMeterIndexColumn, "'%d'", static_cast<std::int32_t>(origin.meter));
  }
  comparison.WithList(data, fields, record.data, main.DataCollectorDBParams[kind]);
  return comparison.Write(config.i8_TableName.c_str(), statement);
}

int TakeAnswer(void* context, int /*columns*/, char** values, char** /*names*/) {
  *static_cast<bool*>(context) = std::string_view(ValueText(values[0])) == "1";
  return 0;
}

}  // namespace

bool LookForRecordInNewestRow(const DataCollectorMainStructure& main, SourceKind kind,
                              const RecordOrigin& origin, Database& database, bool& holds) {
  ComparisonText statement{};
  holds = false;
  return !WriteComparison(main, kind, origin, statement) ||
         database.Execute(statement.c_str(), TakeAnswer, &holds);
}

}  // namespace datacollector
