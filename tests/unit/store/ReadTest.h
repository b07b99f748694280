// A test of the reading of the oldest unsent record and its hand-over, of each kind.
#pragma once

#include <string>

#include "store/ReadRecords.h"
#include "unit/store/StoreTest.h"

namespace datacollector {

class ReadTest : public KindTest {
 protected:
  ReadTest() : function_("Read" + word_ + "DCDBRecordAndPublish"), meter_(IsMeterKind(kind_)) {
    Params(kind_).ui16_MaxReadTry = 2;
    Config(kind_).i32_DatabaseAccessWaitInterval = 0;
  }

  Outcome ReadOne(RecordHandOver& handOver) {
    return Observe([&] { return ReadUnsent(kind_, handOver); }, {function_});
  }
  Outcome ReadOne() { return ReadOne(handOver_); }

  void MakeRows(int rows) {
    MakeTable(kind_);
    Store(kind_, rows);
  }

  std::string Topic() {
    const std::size_t entry = kind_ == SNMP ? 6 : std::size_t{kind_};
    return Main().DataCollectorMqttTopics.i8_HTTPSendPublishTopics[entry].c_str();
  }

  // What is printed from the entry to the query.
  std::string Beginning(const std::string& query) {
    return "reading the records from table which are not sent\n" +
           (meter_ ? "Query Prepared after register loop for EMeter " + word_ + " DataBase = " + query + "\n"
                   : "");
  }
  std::string Opened() { return "Connection to database '" + Path(kind_) + "' is successfull\n"; }
  std::string QueryOf(const std::string& out) const {
    const std::size_t start = out.find("SELECT");
    return meter_ ? out.substr(start, out.find('\n', start) - start) : "";
  }
  std::string IndexLine() {
    return meter_ ? "psDataCollectorMainStructure->DataCollectorDBParams.DataCollector" + word_ +
                        "DBParams.i16_RIDClmnIndex- 1 : 2\n"
                  : "";
  }
  std::string PublishedLog() const {
    return "T: " + std::string(34, '#') + "Published " + word_ +
           " data to HTTP sender. Wait for publish status. Stop sending next record" + std::string(38, '#') +
           " \n\n";
  }
  // What a meter kind prints when the packet is on its way; its time stamp is known only afterwards.
  std::string StampLines(bool published) {
    return (published ? kLogTrace : "") + std::string("<GetTimeStamp>\nPublish Time Stamp Start: ") +
           Main().PublishTimeStamps.published[kind_].c_str() + "\n" + kLogTrace;
  }
  static std::string ValueLines(const std::string& packet) {
    std::string lines;
    std::size_t index = 0;
    for (std::size_t at = 0; at != std::string::npos; ++index) {
      const std::size_t comma = packet.find(',', at);
      lines += "i8_ColumnValue[" + std::to_string(index) + "] = " + packet.substr(at, comma - at) + "\n";
      at = comma == std::string::npos ? comma : comma + 1;
    }
    return lines;
  }

  // As the network thread does it.
  void Confirm(int number) {
    Main().DataCollectorDBUpdate[kind_] = {};
    Main().DataCollectorDBUpdate[kind_].i32_RecordNum = number;
    Main().DataCollectorDBUpdate[kind_].i32_TxStatus = 1;
    for (const auto& row :
         Select(kind_, "RecordReadTime", "WHERE RecordNumber = " + std::to_string(number))) {
      Main().DataCollectorDBUpdate[kind_].i8_RecordReadTimeStamp.Assign(row[0]);
    }
    Update(kind_);
  }

  const std::string function_;
  const bool meter_;
  RecordingHandOver handOver_;
};

}  // namespace datacollector
