// Which sources, lines and meters exist, which are enabled, and how often each is forwarded. The files belong
// to the source applications.
#pragma once

#include "ground/MainState.h"

namespace datacollector {

// Reads the data-source file. Returns 0, or -1 when the file can't be read or one of the source counts is
// missing; fields read until then keep their value.
int ReadSourcesConfig(DataCollectorMainStructure& main, const char* path);

// Reads the number of meters, which holds for every RS-485 line in place of what the data-source file said,
// and the meters' identifiers. Returns 0, or -1 when the file can't be read.
int ReadRS485DeviceConfig(DataCollectorMainStructure& main, const char* path);

}  // namespace datacollector
