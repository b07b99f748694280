// The columns that the record store reads and updates by name, kind by kind.
#pragma once

#include "ground/MainState.h"

namespace datacollector {

// Reads them from the control files of the enabled kinds. Always 0: what is missing keeps its initial value.
int ReadDataCollectorDBCtrlUpdateConfig(DataCollectorMainStructure& main, const char* aioPath,
                                        const char* dioPath, const char* rs485Path, const char* rs232Path,
                                        const char* temperaturePath, const char* snmpPath);

}  // namespace datacollector
