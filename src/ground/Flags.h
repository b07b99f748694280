// The flags through which the three threads hand work to each other, and the counters beside them.
//
// There are no locks: whatever two threads touch is an atomic of 8 or 32 bits, lock-free on every target,
// used with the default (sequentially consistent) order unless said otherwise. Each member names its writers
// and readers: "main" is the main thread, "network" the MQTT library's thread, "forwarding" the forwarding
// thread.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "ground/KindShape.h"
#include "ground/SendWord.h"

namespace datacollector {

using ByteFlag = std::atomic<std::uint8_t>;
using Word = std::atomic<std::int32_t>;
using UnsignedWord = std::atomic<std::uint32_t>;

static_assert(ByteFlag::is_always_lock_free && Word::is_always_lock_free &&
              UnsignedWord::is_always_lock_free);

// The periodic write windows of one I/O kind or of one meter of a line.
struct PeriodicWindow {
  ByteFlag gui8_WriteRecordsDue;                   // set and cleared by main
  ByteFlag gui8_WriteRecordsRequested;             // set by the data requests, cleared by main
  ByteFlag gui8_WriteRecordsAfterPeriodicMinute;   // set by main; read and cleared by network
  ByteFlag gui8_WriteRecordsWithinPeriodicMinute;  // set by main; read by both; cleared by network
  ByteFlag gui8_PeriodicRecordsWritten;  // set by network, read by main, cleared by the data requests
};

// One entry for every I/O kind and for every meter on every line.
template <typename Entry>
using PerSource = PerMeter<Entry, &KindShape::lines>;

extern PerSource<PeriodicWindow> DBWriteFlags;

// 1 while a record has arrived in this period and is not stored: set and cleared by network, read by main.
extern PerSource<ByteFlag> RecordFlags;

// Requests to source applications. Numbers: advanced by the publisher of requests, wrapped by network.
struct DataRequest {
  ByteFlag gui8_AppDataReqPublished;  // written by the publisher of requests
  ByteFlag gui8_AppDataReqPending;    // selects the meter in the retry mode of the publisher
  Word gi32_ReqId;                    // wrapped to 0 by network
};
extern PerSource<DataRequest> AppDataReqFlags;

// The time at which a confirmation released a kind: seconds of the monotonic clock as a double. Written by
// network alone, read by forwarding. Kept in 32-bit words under a sequence number, because a 64-bit atomic is
// not lock-free on the 32-bit targets.
class ReleaseTime {
 public:
  void Set(std::int64_t seconds, std::int32_t nanoseconds);
  double Seconds() const;

 private:
  UnsignedWord sequence_;  // odd while a store is under way
  UnsignedWord secondsLow_;
  UnsignedWord secondsHigh_;
  UnsignedWord nanoseconds_;
};

// Sending of one kind. A meter kind has one set for all its lines and meters. The forwarding thread also puts
// back what a refused packet had changed.
struct KindSendFlags {
  // The four flags that share a word with the count of announcements. What is decided about the record that
  // went last is set through the word alone.
  SendWord word;
  // A retry is due. Set by main, cleared by forwarding; read by all three.
  SendFlag<kRetryDue> gui8_SendDCDBRecordRetryFlags{word};
  // Set by forwarding; read by forwarding and main.
  SendFlag<kFirstSent> gui8_FirstDCDBRecordSent{word};
  // A send is wanted. Set by network and main, cleared by forwarding; read by forwarding.
  SendFlag<kSendWanted> gui8_SendDCDBRecordFlags{word};
  // The last delivery was confirmed. Set by network (meter kinds: by forwarding at every call as well),
  // cleared by forwarding; read by forwarding and main.
  SendFlag<kSendUnsent> gui8_SendUnsentDCDBRecord{word};

  // Nothing left to send. Raised by forwarding before it reads the table, lowered by all three; read by
  // forwarding.
  ByteFlag gui8_NoDCDBRecordsToPublish;
  // Latched to 1 by network (I/O kinds) or main (meter kinds).
  ByteFlag gui8_SendFirstCDBRecord;
  // Of the record that was announced last, stored before the count is raised and read behind the word.
  // Seconds of the monotonic clock: written by forwarding, read by main.
  UnsignedWord gui32_LastDCDBRecordSentTime;
  // Written by forwarding, read by network.
  Word gi32_LastSentDCDBRecordNum;
  ReleaseTime gf64_SendDCDBRecordFlagSetTime;
};
extern std::array<KindSendFlags, kSourceKinds> CloudConnectSendFlags;

// The send gate: kGateOpen = the forwarding thread may send. Closed by network while it stores a record and
// by forwarding when it hands one over, which have a value each: a refused packet takes back its own closing
// alone. Opened by network.
inline constexpr std::int32_t kGateOpen = 1;
inline constexpr std::int32_t kGateClosedByHandOver = 2;
extern Word gi32_HTTPThreadSendFlag;

// 1 = the WAN is up. Only the forwarding thread touches it.
extern std::uint8_t gui8_WanStatus;

// Source counts of the configuration, copied when the main loop starts. Only the main thread touches them.
struct SourceCounts {
  std::int32_t gi32_TotalNumEnSrces;
  std::int32_t gi32_TotalNumRS485EnSrces;
  std::int32_t gi32_TotalNumRS232EnSrces;
  std::int32_t gi32_TotalNumSNMPEnSrces;
};
extern SourceCounts SrcFlags;

// Sets every flag group back to its state at start. Before any other thread exists.
void ZeroFlags();

}  // namespace datacollector
