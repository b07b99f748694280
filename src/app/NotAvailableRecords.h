// Not-available records: what stands in a record buffer for a period in which a source sent nothing. SNMP has
// none.
//
// Main thread, in buffers that otherwise belong to the MQTT network thread: only for a source whose request
// is out and from which nothing has arrived. The main loop issues no requests, so none is built today;
// whoever issues them must keep a late answer from being stored at the same moment.
#pragma once

#include <cstddef>

namespace datacollector {

// Each leaves its text in the kind's record buffer.
void PackAIONaData();
void PackDIONaData();
void PackTemperatureNaData();

// Zero-based indexes; a line that has no record buffer gets the text built and dropped.
void PackRS485NaData(std::size_t line, std::size_t meter);
void PackRS232NaData(std::size_t line, std::size_t meter);

}  // namespace datacollector
