// The six tables of the record store: where they are, what columns they have, how many rows they keep, and
// how their databases are retried. A kind's files are used only when the kind is enabled.
#pragma once

#include <array>
#include <cstddef>

#include "config/ConfigFile.h"
#include "ground/MainState.h"

namespace datacollector {

// Reads the column files: database, table and column names. A kind whose file can't be read has no columns.
// Always 0. Needs 400 KB of heap while it runs.
int ReadDataCollectorDBColumnsConfig(DataCollectorMainStructure& main, const char* aioPath,
                                     const char* dioPath, const char* rs485Path, const char* rs232Path,
                                     const char* temperaturePath, const char* snmpPath);

// Reads the control files: record-number column, row limit, wait and attempts. Always 0.
int ReadDataCollectorDBCtrlConfig(DataCollectorMainStructure& main, const char* aioPath, const char* dioPath,
                                  const char* rs485Path, const char* rs232Path, const char* temperaturePath,
                                  const char* snmpPath);

// The control files of the six kinds, in the kinds' order, which is also the order of reading.
using ControlFiles = std::array<ConfigFile, kSourceKinds>;

// Whether a kind's files count: one of its first `count` sources is enabled, and an I/O kind is among the
// configured ones.
bool IsKindRead(const DataCollectorSourcesConfig& sources, SourceKind kind, std::size_t count);

}  // namespace datacollector
