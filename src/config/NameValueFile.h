// The plain name-value files: "name = value" lines with "#" comments.
#pragma once

#include <array>
#include <cstddef>

#include "ground/FixedText.h"
#include "ground/MainState.h"

namespace datacollector {

// The names or the values of a file's entries, in file order. 100,000 bytes: for the heap, not the stack.
using EntryTexts = std::array<FixedText<499>, kMaxColumns>;

// Reads the entries of a file: entry n's name and value go to slot n of both tables; slots behind the last
// entry stay as they are. Returns the number of entries stored, or -1 when a table is missing or the file
// can't be opened. Entries for which the tables have no room are dropped, with a line on standard error.
int ParseContentFromConfig(EntryTexts* names, EntryTexts* values, const char* path);

}  // namespace datacollector
