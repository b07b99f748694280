#include "store/RowCount.h"

namespace datacollector {

std::array<RowCount, kSourceKinds> gRowCounts;

std::optional<std::uint16_t> RowCount::At(const FileState& state) const {
  if (!state.IsValid() || state != state_) {
    return std::nullopt;
  }
  return rows_;
}

void RowCount::Remember(const FileState& state, std::uint16_t rows) {
  state_ = state;
  rows_ = rows;
}

void RowCount::Follow(const FileState& before, const FileState& after, int added) {
  const bool alone = after == before || after.IsNextCommitOf(before);
  if (At(before) && after.IsValid() && alone) {
    state_ = after;
    rows_ = static_cast<std::uint16_t>(rows_ + added);
  } else {
    state_ = {};
  }
}

}  // namespace datacollector
