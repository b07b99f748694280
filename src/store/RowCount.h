// The number of rows of a kind's table, remembered while it is certain: counting walks through an index of
// the whole table.
#pragma once

#include <cstdint>
#include <optional>

#include "ground/SourceKind.h"
#include "store/Database.h"

namespace datacollector {

// Each for the connection that writes the kind's table, under the kind's lock.

// The count, where it is certain: nobody else has changed the database since it was counted over the same
// connection, and no trigger and no uniqueness of a column can have made an insertion change more rows than
// one.
std::optional<std::int64_t> RememberedRows(SourceKind kind, Database& database);

// Takes note of a count that was just made.
void RememberRows(SourceKind kind, Database& database, const char* table, std::int64_t rows);

// Takes note of rows that the connection itself has added, or, negative, removed, and committed.
void AddRows(SourceKind kind, std::int64_t rows);

// The next count has to be made.
void ForgetRows(SourceKind kind);

}  // namespace datacollector
