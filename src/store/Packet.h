// The packet that is forwarded to the HTTP Send App: which columns of a row it holds, and the row itself.
// Forwarding thread.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string_view>

#include "ground/FixedText.h"
#include "ground/MainState.h"

namespace datacollector {

using QueryText = FixedText<5000>;

// Writes the query for the oldest row of the kind that is not sent yet. Returns false when it had to be cut.
bool BuildUnsentQuery(const DatabaseParams& params, SourceKind kind, QueryText& query);

// The column values of one row, joined by commas. Has room for any row of up to kMaxValues values.
class Packet {
 public:
  static constexpr std::size_t kMaxValues = 50;

  // Takes a row's values; a nullptr counts as an empty text. Returns false when there are too many or there
  // is no memory for them; then the packet is as it was.
  bool Take(std::size_t count, const char* const* values);

  std::size_t Count() const { return count_; }
  std::string_view Value(std::size_t index) const;

  // All values; the empty text when none were taken.
  const char* Text() const { return text_ ? text_.get() : ""; }

 private:
  std::unique_ptr<char[]> text_;
  std::array<std::size_t, kMaxValues> ends_{};  // of each value in the text
  std::size_t count_ = 0;
};

}  // namespace datacollector
