#include "store/Packet.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <span>

#include "ground/KindTable.h"
#include "store/Database.h"

namespace datacollector {
namespace {

// What stands in one place of a packet.
enum class Source { Name, Column, Values, Registers };

struct Place {
  Source source;
  const char* name = nullptr;                        // Name: a column that is called so in every table
  FixedText<500> DatabaseParams::*column = nullptr;  // Column: a configured one
};

constexpr Place Name(const char* name) { return {.source = Source::Name, .name = name}; }
constexpr Place Column(FixedText<500> DatabaseParams::*column) {
  return {.source = Source::Column, .column = column};
}

// The kind's configured value columns, without those left empty.
constexpr Place kValues = {.source = Source::Values};

// The three register columns.
constexpr Place kRegisters = {.source = Source::Registers};

using P = DatabaseParams;

constexpr auto kIoLayout = std::to_array<Place>({
    Column(&P::i8_StartMarkColumn),
    Name("SiteID"),
    Column(&P::i8_RecordReadTimeColumn),
    Column(&P::i8_RecordIDColumn),
    Column(&P::i8_RequestIdColumn),
    Name("SoftwareVer"),
    kValues,
    Column(&P::i8_RecordType),
    Column(&P::i8_EndMarkColumn),
});

constexpr auto kRs485Layout = std::to_array<Place>({
    Column(&P::i8_StartMarkColumn),
    Name("SiteID"),
    Column(&P::i8_RecordReadTimeColumn),
    Column(&P::i8_RecordIDColumn),
    Column(&P::i8_RequestIdColumn),
    Name("SoftwareVer"),
    Column(&P::i8_InterfaceId),
    Column(&P::i8_MeterID),
    Column(&P::i8_MeterIndexColumn),
    Column(&P::i8_MeterModel),
    Column(&P::i8_MeterType),
    Column(&P::i8_SlaveID),
    Column(&P::i8_CommIP),
    Column(&P::i8_ResponseCodeColumn),
    Column(&P::i8_StartingRegisterAddress),
    Column(&P::i8_FunctionCodeUsed),
    kRegisters,
    Column(&P::i8_RecordType),
    Column(&P::i8_EndMarkColumn),
});

// Always periodic, so the record type is not forwarded; the number of registers is.
constexpr auto kRs232Layout = std::to_array<Place>({
    Column(&P::i8_StartMarkColumn),
    Name("SiteID"),
    Column(&P::i8_RecordReadTimeColumn),
    Column(&P::i8_RecordIDColumn),
    Column(&P::i8_RequestIdColumn),
    Name("SoftwareVer"),
    Column(&P::i8_InterfaceId),
    Column(&P::i8_MeterID),
    Column(&P::i8_MeterModel),
    Column(&P::i8_MeterType),
    Column(&P::i8_SlaveID),
    Column(&P::i8_ResponseCodeColumn),
    Column(&P::i8_StartingRegisterAddress),
    Column(&P::i8_FunctionCodeUsed),
    Column(&P::i8_NoOfRegisters),
    kRegisters,
    Column(&P::i8_EndMarkColumn),
});

constexpr auto kSnmpLayout = std::to_array<Place>({
    Column(&P::i8_StartMarkColumn),
    Name("SiteID"),
    Column(&P::i8_RecordReadTimeColumn),
    Column(&P::i8_RecordIDColumn),
    Column(&P::i8_RequestIdColumn),
    Name("SoftwareVer"),
    Column(&P::i8_InterfaceId),
    Column(&P::i8_MeterID),
    Column(&P::i8_MeterModel),
    Column(&P::i8_MeterType),
    Column(&P::i8_CommIP),
    Column(&P::i8_PortNumber),
    Column(&P::i8_ResponseCodeColumn),
    Column(&P::i8_RecordType),
    Column(&P::i8_SNMPStartMark),
    Column(&P::i8_SNMPData),
    Column(&P::i8_EndMarkColumn),
});

struct Layout {
  SourceKind kind;
  std::span<const Place> places;
};
constexpr auto kLayouts = KindTable<Layout>({
    {AIO, kIoLayout},
    {DIO, kIoLayout},
    {TEMPERATURE, kIoLayout},
    {RS485, kRs485Layout},
    {RS232, kRs232Layout},
    {SNMP, kSnmpLayout},
});

// Values of a packet, counting the I/O kinds' values place as one.
constexpr std::size_t ValueCount(std::span<const Place> layout) {
  const bool registers = std::any_of(layout.begin(), layout.end(),
                                     [](const Place& place) { return place.source == Source::Registers; });
  return layout.size() + (registers ? std::tuple_size_v<decltype(P::i8_EMeterREG)> - 1 : 0);
}
static_assert(ValueCount(kIoLayout) == 9 && ValueCount(kRs485Layout) == 21 &&
              ValueCount(kRs232Layout) == 19 && ValueCount(kSnmpLayout) == 17);

// Names joined by commas.
class NameList {
 public:
  explicit NameList(QueryText& query) : query_(query) {}

  void Add(std::string_view name) {
    fits_ = (first_ || query_.Append(",")) && query_.Append(name) && fits_;
    first_ = false;
  }
  bool Fits() const { return fits_; }

 private:
  QueryText& query_;
  bool first_ = true;
  bool fits_ = true;
};

// Without any value column the place stays, with an empty name, and SQLite refuses the query: records must
// not be confirmed whose readings were left behind.
void AddValues(NameList& names, const DatabaseParams& params) {
  bool any = false;
  for (const auto& column : params.i8_ValueColumns) {
    if (!column.empty()) {
      names.Add(column.view());
      any = true;
    }
  }
  if (!any) {
    names.Add("");
  }
}

void AddPlace(NameList& names, const Place& place, const DatabaseParams& params) {
  switch (place.source) {
    case Source::Name:
      names.Add(place.name);
      break;
    case Source::Column:
      names.Add((params.*place.column).view());
      break;
    case Source::Values:
      AddValues(names, params);
      break;
    case Source::Registers:
      for (const auto& column : params.i8_EMeterREG) {
        names.Add(column.view());
      }
      break;
  }
}

}  // namespace

bool BuildUnsentQuery(const DatabaseParams& params, SourceKind kind, QueryText& query) {
  query.Assign("SELECT ");
  NameList names(query);
  for (const Place& place : kLayouts[kind].places) {
    AddPlace(names, place, params);
  }
  FixedText<1200> rest;
  rest.Format(" FROM %s WHERE %s = %d ORDER BY rowid ASC limit 1;", params.i8_TableName.c_str(),
              params.i8_TxStatusColumn.c_str(), static_cast<int>(params.ui16_TxStatus));
  return query.Append(rest.view()) && names.Fits();
}

bool Packet::Take(std::size_t count, const char* const* values) {
  if (count > kMaxValues) {
    return false;
  }
  std::size_t size = 0;
  for (std::size_t value = 0; value < count; ++value) {
    size += std::strlen(ValueText(values[value])) + 1;  // with the comma or the NUL behind it
  }
  std::unique_ptr<char[]> text(new (std::nothrow) char[std::max<std::size_t>(size, 1)]);
  if (!text) {
    return false;
  }
  char* end = text.get();
  *end = '\0';
  for (std::size_t value = 0; value < count; ++value) {
    if (value > 0) {
      *end++ = ',';
    }
    end = ::stpcpy(end, ValueText(values[value]));
    ends_[value] = static_cast<std::size_t>(end - text.get());
  }
  text_ = std::move(text);
  count_ = count;
  return true;
}

std::string_view Packet::Value(std::size_t index) const {
  const std::size_t begin = index == 0 ? 0 : ends_[index - 1] + 1;
  return {text_.get() + begin, ends_[index] - begin};
}

}  // namespace datacollector
