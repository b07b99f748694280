// First-time creation of a kind's database through the gateway's table script.
#pragma once

#include "ground/SourceKind.h"

namespace datacollector {

// Whether a kind's database has to be made: there is no file, or an empty one, as an opening or a full disk
// leaves it. Any thread.
bool IsDatabaseMissing(const char* databasePath);

// Makes the database of a kind when it is missing: the directories where the kind makes them, then the table
// by /bin/DatabaseInterface.sh, without what an earlier database has left beside the path. Changes the
// working directory of the process. Reports only on the trace and the log. Main thread at start, MQTT network
// and forwarding thread when a database is missing; none of them may hold a kind's lock (StoreAccess.h).
void CreateDatabase(SourceKind kind, const char* databasePath);
void CreateAIDB(const char* databasePath);
void CreateDIODB(const char* databasePath);
void CreateTemperatureDB(const char* databasePath);
void CreateRS485DB(const char* databasePath);
void CreateRS232DB(const char* databasePath);
void CreateSNMPDB(const char* databasePath);

}  // namespace datacollector
