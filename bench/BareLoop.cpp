#include "BareLoop.h"

#include <utility>

namespace datacollector::bench {
namespace {

constexpr const char* kColumns =
    "StartMark,SiteID,DeviceID,RecordType,RequestID,SoftwareVer,ResponseCode,RecordNumber,SourceStartMark,"
    "SourceModel,SourceRecordType,SourceRequestID,SourceResponseCode,AI1,AI2,SourceTime,TxStatus,"
    "TxStatusTime,SourceEndMark,RecordReadTime,EndMark";
constexpr const char* kReadTime = "2026-11-20 10:00:01";

std::string InsertStatement(int number, int request) {
  return std::string("insert into AIO_table (") + kColumns + R"() values ("<","SITE01","GW0001",0,)" +
         std::to_string(request) + R"(,"ORU2_1.0.0",99,)" + std::to_string(number) + "," +
         AioPayload(request) + ",\"" + kReadTime + R"(",">");)";
}

}  // namespace

std::string AioPayload(int request) {
  return R"("<","M417",0,)" + std::to_string(request) + R"(,99,12.34,56.78,"2026-11-20 10:00:00",0,"0",">")";
}

BareLoop::BareLoop(Way way, std::string path, int rows)
    : way_(way), path_(std::move(path)), rows_(rows), number_(rows) {
  Open().Run(way_ == Way::KeptOpen ? "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL"
                                   : "PRAGMA journal_mode = DELETE");
  Done();
}

Connection& BareLoop::Open() { return connection_ ? *connection_ : connection_.emplace(path_); }

void BareLoop::Done() {
  if (way_ == Way::OpenedEachTime) {
    connection_.reset();
  }
}

void BareLoop::Fill() {
  Connection& connection = Open();
  connection.Run("BEGIN");
  for (int number = 1; number <= rows_; ++number) {
    connection.Run(InsertStatement(number, 0));
  }
  connection.Run("UPDATE AIO_table SET TxStatus = '1'; COMMIT");
  Done();
}

void BareLoop::Insert(int request) {
  number_ = number_ == rows_ ? 1 : number_ + 1;
  Connection& connection = Open();
  if (way_ == Way::OpenedEachTime) {
    connection.Run("SELECT COUNT(*) FROM AIO_table");
  }
  connection.Run("BEGIN");
  connection.Run("delete from AIO_table where RecordNumber = " + std::to_string(number_) + ";");
  connection.Run(InsertStatement(number_, request));
  connection.Run("COMMIT");
  Done();
}

void BareLoop::ReadUnsent() {
  Open().Run(
      "SELECT StartMark,SiteID,RecordReadTime,RecordNumber,RequestID,SoftwareVer,AI1,AI2,RecordType,EndMark "
      "FROM AIO_table WHERE TxStatus = 0 ORDER BY rowid ASC limit 1;");
  Done();
}

void BareLoop::Confirm() {
  Open().Run("UPDATE AIO_table SET TxStatus = 1, TxStatusTime = '2026-11-20 10:00:05' WHERE RecordNumber = " +
             std::to_string(number_) + " and RecordReadTime = '" + kReadTime + "';");
  Done();
}

}  // namespace datacollector::bench
