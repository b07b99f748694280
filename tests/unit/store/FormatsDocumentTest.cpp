// The worked examples of docs/formats.md: packed, stored, read and confirmed as they stand there.

#include <algorithm>
#include <fstream>
#include <map>
#include <regex>
#include <string>

#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

constexpr const char* kDocument = DATACOLLECTOR_SOURCE_DIR "/docs/formats.md";
constexpr const char* kDocumentedReadTime = "2026-11-20 10:00:01";

using Example = std::map<std::string, std::string>;

// The block of a kind: its "name: text" lines.
Example ReadExample(const std::string& kind) {
  std::ifstream document(kDocument);
  Example example;
  bool inside = false;
  for (std::string line; std::getline(document, line);) {
    if (line.starts_with("```") || line.empty()) {
      inside = false;
    }
    const std::size_t colon = line.find(": ");
    inside = inside || line == "kind: " + kind;
    if (inside && colon != std::string::npos) {
      example[line.substr(0, colon)] = line.substr(colon + 2);
    }
  }
  return example;
}

class FormatsDocumentTest : public KindTest {
 protected:
  FormatsDocumentTest() : example_(ReadExample(kKindIndexWord[kind_])) {}

  // What source applications put in front of the record data: nothing, or the meter index.
  std::string DocumentedData() const {
    const std::string& payload = example_.at("payload");
    return IsMeterKind(kind_) ? payload.substr(payload.find(',') + 1) : payload;
  }

  // With the read time of the document: some kinds take theirs at packing.
  std::string WithDocumentedTime(const std::string& text) {
    const std::string readTime = Main().DataCollectorDBData.i8_ReadTimeStamp[kind_].c_str();
    return std::regex_replace(text, std::regex(readTime), kDocumentedReadTime);
  }

  // The update that the documented confirmation asks for, for the row's real read time.
  void ReceiveDocumentedConfirmation() {
    static const std::regex kFields("([^,]*),([^,]*),([^,]*),([^,]*),([^,]*)");
    const std::string& confirmation = example_.at("confirmation");
    std::smatch fields;
    ASSERT_TRUE(std::regex_match(confirmation, fields, kFields));
    EXPECT_EQ(fields[2], kDocumentedReadTime);
    DatabaseUpdate& update = Main().DataCollectorDBUpdate[kind_];
    update.i8_RecordReadTimeStamp.Assign(Main().DataCollectorDBData.i8_ReadTimeStamp[kind_].view());
    update.i32_RecordNum = std::stoi(fields[3]);
    update.i32_TxStatus = std::stoi(fields[4]);
    update.i8_TxTimeStamp.Assign(fields[5].str());
  }

  const Example example_;
};

TEST_P(FormatsDocumentTest, TheWorkedExampleIsWhatHappens) {
  ASSERT_EQ(example_.size(), 5U) << "the block of " << kKindIndexWord[kind_] << " in " << kDocument;
  MakeTable(kind_);
  Receive(kind_, DocumentedData());
  ASSERT_EQ(Silently([&] { return Write(kind_); }), 0);
  EXPECT_EQ(WithDocumentedTime(Main().DataCollectorDBData.i8_DCDBRecord[kind_].c_str()),
            example_.at("record text"));

  RecordingHandOver handOver;
  EXPECT_EQ(Silently([&] { return ReadUnsent(kind_, handOver); }), 1);
  ASSERT_EQ(handOver.packets.size(), 1U);
  EXPECT_EQ(WithDocumentedTime(handOver.packets[0]), example_.at("packet"));

  ReceiveDocumentedConfirmation();
  EXPECT_EQ(Silently([&] { return Update(kind_); }), 0);
  EXPECT_EQ(Select(kind_, "TxStatus, TxStatusTime"), (Rows{{"1", "2026-11-20 10:00:05"}}));
}

INSTANTIATE_TEST_SUITE_P(Kinds, FormatsDocumentTest, ::testing::ValuesIn(kAllKinds), KindName);

}  // namespace
}  // namespace datacollector
