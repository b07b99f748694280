// First-time creation of a kind's database through the gateway's table script.
#pragma once

#include "app/ground/SourceKind.h"

namespace datacollector {

// Makes the database of a kind when the file at `databasePath` is missing: the directories where the kind
// makes them, then the table by /bin/DatabaseInterface.sh. Changes the working directory of the process.
// Reports only on the trace and the log. Main thread at start, MQTT network and forwarding thread when a
// database is missing.
void CreateAIDB(const char* databasePath);
void CreateDIODB(const char* databasePath);
void CreateTemperatureDB(const char* databasePath);
void CreateRS485DB(const char* databasePath);
void CreateRS232DB(const char* databasePath);
void CreateSNMPDB(const char* databasePath);

// The creation function of a kind.
using DatabaseCreator = void (*)(const char* databasePath);
DatabaseCreator CreatorOf(SourceKind kind);

}  // namespace datacollector
