// The storing of one record as the next one of its kind's ring.
#pragma once

#include <cstdint>

#include "ground/FixedText.h"
#include "ground/MainState.h"
#include "store/BoundValues.h"
#include "store/DatabaseWriteProtocol.h"
#include "store/StoreAccess.h"

namespace datacollector {

// What a meter kind writes to the log file; the I/O kinds log nothing.
struct WriteLogs {
  const char* connect;
  const char* lastNumber;  // format of the record number
  const char* retry;
  const char* missingTable;
  const char* count;
  const char* deletion;
  const char* unableToDelete;
  const char* insertion;
};

// What differs between the kinds' writers.
struct Writing {
  SourceKind kind;
  const char* function;
  WaitUnit unit;             // of the wait between two attempts
  bool keepsPublishTime;     // refreshes the kind's time of the last write attempt
  const char* limitFormat;   // prints the row limit before the full-table test; nullptr: not printed
  const char* numberFormat;  // prints the record number there
  WriteLogs logs;
};

class RingWriter {
 public:
  // The turn lasts for the whole record, without its pauses. `recovered`: whether the last number in the
  // table is known.
  RingWriter(DataCollectorMainStructure& main, const Writing& writing, const RecordOrigin& origin,
             StoreAccess& access, bool recovered);

  // True when the record is in the table, newly or as its newest row already. False when it could not be
  // stored; then its number is free again.
  bool Store();

 private:
  bool IsStored();
  void Advance();
  void BuildStatements();
  bool RunInsert();
  bool CountRows();
  bool MayNumber();
  bool MakeRoom();
  bool Insert();
  bool TryCount();
  bool TryDelete();
  bool TryInsert();
  bool CountEvicted();
  void Committed();
  bool StepBack();
  RetryRule Rule(const char* failure, const char* failureLog) const;

  DataCollectorMainStructure& main_;
  const Writing& writing_;
  const SourceKind kind_;
  const RecordOrigin& origin_;
  StoreAccess& access_;
  Database& database_;
  const bool recovered_;
  const DatabaseConfig& config_;
  const char* const path_;
  const char* const table_;

  // The number of this record. The kind's own follows at the end: between two attempts the recovery at start
  // may read the last one again.
  std::uint16_t number_ = 0;
  std::uint16_t rows_ = 0;
  std::int64_t deletedRows_ = 0;
  std::int64_t evicted_ = 0;  // unsent rows that this record takes the place of
  std::int64_t evictedEver_ = 0;
  bool literals_ = false;
  bool bound_ = false;  // the insert statement stands with question marks, and `values_` are the record's
  FixedText<1000> deleteStatement_{};
  FixedText<7000> insertStatement_{};
  RecordText record_{};
  BoundValues values_;
};

}  // namespace datacollector
