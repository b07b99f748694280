#include "store/NewestRow.h"

#include <strings.h>

#include <array>
#include <string>
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

bool IsChangedByConfirmations(const DatabaseParams& params, const char* column) {
  return ::strcasecmp(column, params.i8_TxStatusColumn.c_str()) == 0 ||
         ::strcasecmp(column, params.i8_TxStatusTimeColumn.c_str()) == 0;
}

// The statement that compares the newest row. The values stand in a row of their own that knows no column of
// the table: a text in double quotes could be read as a column's name where it does.
class Comparison {
 public:
  explicit Comparison(const ColumnNames& columns) : columns_(columns) {}

  void With(std::size_t column, const std::string& literal) {
    literals_ += literal + ",";
    Expect(column);
  }

  // A list of literals for the columns from `first` on.
  void WithList(std::size_t first, std::size_t count, const char* list, const DatabaseParams& params) {
    literals_ += list;
    for (std::size_t column = first; column < first + count; ++column) {
      if (IsChangedByConfirmations(params, columns_[column].c_str())) {
        AddName();
      } else {
        Expect(column);
      }
    }
  }

  std::string Statement(const std::string& table) const {
    return "WITH received(" + names_ + ") AS (VALUES (" + literals_ + ")) SELECT COUNT(*) FROM " + table +
           " AS newest, received WHERE newest.oid = (SELECT MAX(oid) FROM " + table + ")" + conditions_;
  }

 private:
  // Returns the name.
  std::string AddName() {
    const std::string name = 'v' + std::to_string(count_);
    names_ += count_ == 0 ? name : ',' + name;
    ++count_;
    return name;
  }

  void Expect(std::size_t column) {
    conditions_ += std::string(" AND newest.") + columns_[column].c_str() + " IS received." + AddName();
  }

  const ColumnNames& columns_;
  std::size_t count_ = 0;
  std::string names_;
  std::string literals_;
  std::string conditions_;
};

// What the message decides of a record, as a list of literals beside the columns that are to hold them. The
// text is empty where the record has not one value for each column: then it is no row of this table.
std::string StatementFor(const DataCollectorMainStructure& main, SourceKind kind,
                         const RecordOrigin& origin) {
  const DatabaseConfig& config = main.DataCollectorDBConfig[kind];
  const ReceivedRecord record = ReceivedRecordOf(main, kind, origin);
  const std::size_t fields = CountLiterals(record.data).value_or(0);
  const std::size_t columns = Bounded(config.ui16_NoOfColumns, kMaxColumns);
  if (fields == 0 || columns < kTypeBeforeData + fields + kFieldsBehindData) {
    return {};
  }
  const std::size_t data = columns - kFieldsBehindData - fields;
  Comparison comparison(config.i8_ColumnNames);
  comparison.With(data - kTypeBeforeData, std::to_string(record.recordType));
  comparison.With(data - kRequestIdBeforeData, std::to_string(record.requestId));
  if (record.hasMeterIndex) {
    comparison.With(kMeterIndexColumn, '\'' + std::to_string(origin.meter) + '\'');
  }
  comparison.WithList(data, fields, record.data, main.DataCollectorDBParams[kind]);
  return comparison.Statement(config.i8_TableName.c_str());
}

int TakeAnswer(void* context, int /*columns*/, char** values, char** /*names*/) {
  *static_cast<bool*>(context) = std::string_view(ValueText(values[0])) == "1";
  return 0;
}

}  // namespace

bool LookForRecordInNewestRow(const DataCollectorMainStructure& main, SourceKind kind,
                              const RecordOrigin& origin, Database& database, bool& holds) {
  const std::string statement = StatementFor(main, kind, origin);
  holds = false;
  return statement.empty() || database.Execute(statement.c_str(), TakeAnswer, &holds);
}

}  // namespace datacollector
