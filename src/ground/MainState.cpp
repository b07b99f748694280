#include "ground/MainState.h"

#include <algorithm>
#include <span>
#include <type_traits>

namespace datacollector {
namespace {

static_assert(std::is_trivially_copyable_v<DataCollectorMainStructure>, "zeroed as memory");

using Sources = DataCollectorSourcesConfig;

// The column that the configuration fills of one row of a sources table; 0 for a row outside the table.
template <auto Table>
std::int32_t FirstColumn(const Sources& sources, std::size_t row) {
  const auto& rows = sources.*Table;
  return row < rows.size() ? rows[row][0] : 0;
}

template <auto Counts>
std::int32_t Count(const Sources& sources, std::size_t line) {
  const auto& counts = sources.*Counts;
  return line < counts.size() ? counts[line] : 0;
}

std::int32_t NoMeters(const Sources& /*sources*/, std::size_t /*line*/) { return 0; }

// Where a kind's settings stand. The tables of the I/O kinds are the same: a kind is a row of them, as a line
// is of a meter kind's.
using SettingOf = std::int32_t (*)(const Sources& sources, std::size_t row);
struct SourceTables {
  SourceKind kind;
  SettingOf enableFlag;
  SettingOf publishInterval;
  SettingOf meters;
};

constexpr SourceTables IoTables(SourceKind kind) {
  return {kind, FirstColumn<&Sources::i32_DataSourcesEnableFlags>,
          FirstColumn<&Sources::i32_DataSourcesPublishInterval>, NoMeters};
}

constexpr auto kSourceTables = KindTable<SourceTables>({
    IoTables(AIO),
    IoTables(DIO),
    IoTables(TEMPERATURE),
    {RS485, FirstColumn<&Sources::i32_DataSourcesRS485EnableFlags>,
     FirstColumn<&Sources::i32_DataSourcesRS485PublishInterval>, Count<&Sources::i32_NoOfEMetersInLine>},
    {RS232, FirstColumn<&Sources::i32_DataSourcesRS232EnableFlags>,
     FirstColumn<&Sources::i32_DataSourcesRS232PublishInterval>, Count<&Sources::i32_NoOfRS232EMetersInLine>},
    {SNMP, FirstColumn<&Sources::i32_DataSourcesSNMPEnableFlags>,
     FirstColumn<&Sources::i32_DataSourcesSNMPPublishInterval>, Count<&Sources::i32_NoOfSNMPDevicesInLine>},
});

std::size_t RowOf(SourceKind kind, std::size_t line) { return IsMeterKind(kind) ? line : kind; }

}  // namespace

DataCollectorMainStructure gMainState;

// Blocks that are zero already are left alone: static storage costs no memory until it is written, and most
// of the tables are never filled.
void ZeroMainState(DataCollectorMainStructure& main) {
  constexpr std::size_t kBlock = 4096;
  auto* const bytes = reinterpret_cast<unsigned char*>(&main);
  for (std::size_t start = 0; start < sizeof main; start += kBlock) {
    const std::span<unsigned char> block(bytes + start, std::min(kBlock, sizeof main - start));
    if (std::ranges::any_of(block, [](unsigned char byte) { return byte != 0; })) {
      std::ranges::fill(block, static_cast<unsigned char>(0));
    }
  }
}

bool IsLineEnabled(const Sources& sources, SourceKind kind, std::size_t line) {
  return kSourceTables[kind].enableFlag(sources, RowOf(kind, line)) == 1;
}

bool IsSourceEnabled(const Sources& sources, SourceKind kind) {
  return IsSourceEnabled(sources, kind, kKinds[kind].sources);
}

bool IsSourceEnabled(const Sources& sources, SourceKind kind, std::size_t count) {
  for (std::size_t line = 0; line < count; ++line) {
    if (IsLineEnabled(sources, kind, line)) {
      return true;
    }
  }
  return false;
}

std::int32_t MetersInLine(const Sources& sources, SourceKind kind, std::size_t line) {
  return kSourceTables[kind].meters(sources, line);
}

std::int32_t PublishInterval(const Sources& sources, SourceKind kind, std::size_t line) {
  return kSourceTables[kind].publishInterval(sources, RowOf(kind, line));
}

}  // namespace datacollector
