// Not-available records: what stands in a record buffer for a period in which a source sent nothing. SNMP has
// none. Main thread.
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
