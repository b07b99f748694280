// Not-available records: what stands in a record buffer for a period in which a source sent nothing. SNMP has
// none.
//
// Main thread, in buffers that otherwise belong to the MQTT network thread: only for a source whose request
// is out and from which nothing has arrived. The main loop issues no requests, so none is built today;
// whoever issues them must keep a late answer from being stored at the same moment.
#pragma once

#include <cstddef>

#include "ground/SourceKind.h"

namespace datacollector {

// Leaves the text in the record buffer of an I/O kind or of the meter on the line, both zero-based. A line
// that has no record buffer gets the text built and dropped.
void PackNotAvailable(SourceKind kind, std::size_t line = 0, std::size_t meter = 0);

// The same for one kind.
void PackAIONaData();
void PackDIONaData();
void PackTemperatureNaData();
void PackRS485NaData(std::size_t line, std::size_t meter);
void PackRS232NaData(std::size_t line, std::size_t meter);

}  // namespace datacollector
