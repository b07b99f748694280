// Four flags of a kind and a count of its announcements in one word, so that what a thread has decided takes
// effect only on the record that it was decided about.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

namespace datacollector {

// Bits of the word.
inline constexpr std::uint32_t kRetryDue = 1U << 0U;
inline constexpr std::uint32_t kFirstSent = 1U << 1U;
inline constexpr std::uint32_t kSendWanted = 1U << 2U;
inline constexpr std::uint32_t kSendUnsent = 1U << 3U;

// The forwarding thread raises the count with each record that it announces or takes back. Whoever else looks
// at the kind's other values reads the word first: where the count has stayed, they have too. The count comes
// round after 2^28 announcements; no thread sleeps that long between two instructions.
class SendWord {
 public:
  std::uint32_t Load() const { return word_; }

  // Whatever has been announced meanwhile.
  void Set(std::uint32_t flags) { word_.fetch_or(flags); }
  void Clear(std::uint32_t flags) { word_.fetch_and(~flags); }

  // Sets flags unless the count has been raised since the word was `seen`; whether they are set.
  bool SetSince(std::uint32_t seen, std::uint32_t flags) {
    std::uint32_t now = seen;
    while (!word_.compare_exchange_weak(now, now | flags)) {
      if (now / kOneAnnouncement != seen / kOneAnnouncement) {
        return false;
      }
    }
    return true;
  }

  // Sets flags if `judge`, which is given the word, returns true of the word that they are added to: it is
  // asked again when the word has changed. Returns the word before, nothing when the judgement was false.
  template <typename Judge>
  std::optional<std::uint32_t> SetIf(Judge judge, std::uint32_t flags) {
    std::uint32_t now = word_;
    do {
      if (!judge(now)) {
        return std::nullopt;
      }
    } while (!word_.compare_exchange_weak(now, now | flags));
    return now;
  }

  // Raises the count and gives all flags the values that `next` makes of the word, which it may be asked for
  // several times. Returns the word before. Forwarding thread.
  template <typename Next>
  std::uint32_t Count(Next next) {
    std::uint32_t now = word_;
    while (!word_.compare_exchange_weak(
        now, (now & ~kFlags) + kOneAnnouncement + (static_cast<std::uint32_t>(next(now)) & kFlags))) {
    }
    return now;
  }

 private:
  static constexpr std::uint32_t kFlags = kRetryDue | kFirstSent | kSendWanted | kSendUnsent;
  static constexpr std::uint32_t kOneAnnouncement = kFlags + 1;

  std::atomic<std::uint32_t> word_;
};

// One flag of the word under the name that the trace and its readers know: 0 or 1.
template <std::uint32_t Bit>
class SendFlag {
 public:
  explicit constexpr SendFlag(SendWord& word) : word_(word) {}

  std::uint8_t load() const { return (word_.Load() & Bit) != 0 ? 1 : 0; }
  operator std::uint8_t() const { return load(); }  // NOLINT(google-explicit-constructor): like an atomic

  // Whatever has been announced meanwhile.
  SendFlag& operator=(std::uint8_t value) {
    value != 0 ? word_.Set(Bit) : word_.Clear(Bit);
    return *this;
  }

 private:
  SendWord& word_;
};

}  // namespace datacollector
