// The six source kinds and their order.
#pragma once

#include <array>
#include <cstddef>

namespace datacollector {

// Index of a kind in every per-kind table. The I/O kinds come first: their values are also the indexes that
// the sources configuration uses for AIO, DIO and TEMPERATURE.
enum SourceKind : std::size_t { AIO, DIO, TEMPERATURE, RS485, RS232, SNMP };

inline constexpr std::size_t kSourceKinds = 6;
inline constexpr std::size_t kIoKinds = 3;

constexpr bool IsMeterKind(SourceKind kind) { return kind >= kIoKinds; }

inline constexpr std::array<SourceKind, kSourceKinds> kAllKinds = [] {
  std::array<SourceKind, kSourceKinds> kinds{};
  for (std::size_t place = 0; place < kSourceKinds; ++place) {
    kinds[place] = static_cast<SourceKind>(place);
  }
  return kinds;
}();

// Zero-based line indexes. Payloads, keys and messages count lines from 1.
inline constexpr std::size_t RS485Line1 = 0;
inline constexpr std::size_t RS485Line2 = 1;
inline constexpr std::size_t RS232Line1 = 0;
inline constexpr std::size_t SNMPLine1 = 0;

}  // namespace datacollector
