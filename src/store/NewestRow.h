// Whether a received record is the newest row of its table already.
#pragma once

#include "ground/MainState.h"
#include "store/Database.h"
#include "store/DatabaseWriteProtocol.h"

namespace datacollector {

// Sets `holds` when the newest row of the kind's table holds the record that stands in the kind's
// received-record buffer (meter kinds: in the slot of the line and meter). False when the table can't be
// read.
//
// Compared is what the message alone decides: record type, request id, the record data and, for RS-485, the
// meter index, each as the table's column keeps it. Left out are the two columns that a confirmation changes,
// and what the gateway adds: marks, identity, version, record number and read time. MQTT network thread.
bool LookForRecordInNewestRow(const DataCollectorMainStructure& main, SourceKind kind,
                              const RecordOrigin& origin, Database& database, bool& holds);

}  // namespace datacollector
