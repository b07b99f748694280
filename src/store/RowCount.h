// The number of rows of each kind's table, remembered from one write to the next.
//
// Counting visits every page of an index, which on a full table costs many times what the insert itself does.
// SQLite marks each commit in the header of the file, whoever makes it; while the mark is the one that the
// last count or the last own commit left, the count still holds. MQTT network thread.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "app/ground/SourceKind.h"
#include "store/Database.h"

namespace datacollector {

class RowCount {
 public:
  // The number of rows in this state of the file, when it is known.
  std::optional<std::uint16_t> At(const FileState& state) const;

  // Remembers a count that was taken while the file was in this state.
  void Remember(const FileState& state, std::uint16_t rows);

  // Follows an own commit that added `added` rows (less than 0: removed some) and took the file from `before`
  // to `after`. Forgets the count when somebody else has committed too.
  void Follow(const FileState& before, const FileState& after, int added);

 private:
  FileState state_;  // not valid: no count is known
  std::uint16_t rows_ = 0;
};

extern std::array<RowCount, kSourceKinds> gRowCounts;

}  // namespace datacollector
