#include "app/ground/MainState.h"

#include <algorithm>
#include <span>
#include <type_traits>

namespace datacollector {
namespace {

static_assert(std::is_trivially_copyable_v<DataCollectorMainStructure>, "zeroed as memory");

// The column that the configuration fills of one line of a sources table; 0 for a line outside the table.
template <std::size_t Rows, std::size_t Columns>
std::int32_t FirstColumn(const SourcesTable<Rows, Columns>& table, std::size_t row) {
  return row < Rows ? table[row][0] : 0;
}

std::int32_t EnableFlag(const DataCollectorSourcesConfig& sources, SourceKind kind, std::size_t line) {
  switch (kind) {
    case RS485:
      return FirstColumn(sources.i32_DataSourcesRS485EnableFlags, line);
    case RS232:
      return FirstColumn(sources.i32_DataSourcesRS232EnableFlags, line);
    case SNMP:
      return FirstColumn(sources.i32_DataSourcesSNMPEnableFlags, line);
    default:
      return FirstColumn(sources.i32_DataSourcesEnableFlags, kind);
  }
}

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

bool IsLineEnabled(const DataCollectorSourcesConfig& sources, SourceKind kind, std::size_t line) {
  return EnableFlag(sources, kind, line) == 1;
}

bool IsSourceEnabled(const DataCollectorSourcesConfig& sources, SourceKind kind) {
  const std::size_t lines = kind == RS485 ? kRs485ConfigurableLines : 1;
  for (std::size_t line = 0; line < lines; ++line) {
    if (IsLineEnabled(sources, kind, line)) {
      return true;
    }
  }
  return false;
}

std::int32_t MetersInLine(const DataCollectorSourcesConfig& sources, SourceKind kind, std::size_t line) {
  std::span<const std::int32_t> counts = sources.i32_NoOfEMetersInLine;
  if (kind == RS232) {
    counts = sources.i32_NoOfRS232EMetersInLine;
  } else if (kind == SNMP) {
    counts = sources.i32_NoOfSNMPDevicesInLine;
  }
  return line < counts.size() ? counts[line] : 0;
}

std::int32_t PublishInterval(const DataCollectorSourcesConfig& sources, SourceKind kind, std::size_t line) {
  switch (kind) {
    case RS485:
      return FirstColumn(sources.i32_DataSourcesRS485PublishInterval, line);
    case RS232:
      return FirstColumn(sources.i32_DataSourcesRS232PublishInterval, line);
    case SNMP:
      return FirstColumn(sources.i32_DataSourcesSNMPPublishInterval, line);
    default:
      return FirstColumn(sources.i32_DataSourcesPublishInterval, kind);
  }
}

}  // namespace datacollector
