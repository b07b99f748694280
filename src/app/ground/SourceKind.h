// The six source kinds, their order and the sizes of everything that is counted per kind, meter or line.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace datacollector {

// Index of a kind in every per-kind table. The I/O kinds come first: their values are also the indexes that
// the sources configuration uses for AIO, DIO and TEMPERATURE.
enum SourceKind : std::size_t { AIO, DIO, TEMPERATURE, RS485, RS232, SNMP };

inline constexpr std::size_t kSourceKinds = 6;
inline constexpr std::size_t kIoKinds = 3;

inline constexpr std::array<SourceKind, kSourceKinds> kAllKinds = {AIO, DIO, TEMPERATURE, RS485, RS232, SNMP};

// Zero-based line indexes. Payloads, keys and messages count lines from 1.
inline constexpr std::size_t RS485Line1 = 0;
inline constexpr std::size_t RS485Line2 = 1;
inline constexpr std::size_t RS232Line1 = 0;
inline constexpr std::size_t SNMPLine1 = 0;

inline constexpr std::size_t kRs485Meters = 100;
inline constexpr std::size_t kRs485Lines = 10;
inline constexpr std::size_t kRs485ConfigurableLines = 4;
inline constexpr std::size_t kRs485StoredLines = 2;
inline constexpr std::size_t kRs232Meters = 10;
inline constexpr std::size_t kRs232Lines = 1;
inline constexpr std::size_t kSnmpDevices = 10;
inline constexpr std::size_t kSnmpLines = 1;

// The word that stands for a kind in most messages.
inline constexpr std::array<const char*, kSourceKinds> kKindWord = {"AIO",   "DIO",   "Temperature",
                                                                    "RS485", "RS232", "SNMP"};

// The word that stands for a kind in function names, and in the messages that quote them.
inline constexpr std::array<const char*, kSourceKinds> kKindFunctionWord = {"AI",    "DIO",   "Temperature",
                                                                            "RS485", "RS232", "SNMP"};

// The word that stands for a kind where messages show an index of a per-kind table.
inline constexpr std::array<const char*, kSourceKinds> kKindIndexWord = {"AIO",   "DIO",   "TEMPERATURE",
                                                                         "RS485", "RS232", "SNMP"};

constexpr bool IsMeterKind(SourceKind kind) { return kind >= RS485; }

}  // namespace datacollector
