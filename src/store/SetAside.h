// What happens to a database that is damaged: it is put aside under another name, for whoever may still save
// its rows, so that a new one can take its place.
#pragma once

#include <cstdint>

#include "ground/SourceKind.h"

namespace datacollector {

enum class Damage : std::uint8_t {
  None,
  Log,   // the file by itself is sound: the log is another one's, as when a backup was copied over the file
  File,  // the file is damaged or no database
};

// What a new connection finds. Takes at most 2 s for each check; a database whose check takes longer, or that
// can't be read or is locked, is not damaged. `locking` as in LockingOf.
Damage DamageOf(const char* path, const char* locking);

// Renames what is damaged to "<name>.damaged-<UTC time>" beside it, the log together with its file, says so,
// and removes all but the two newest that were put aside. False when it could not be renamed. The caller has
// closed all connections to the database and holds the kind's lock.
bool PutAside(SourceKind kind, const char* path, Damage damage);

}  // namespace datacollector
