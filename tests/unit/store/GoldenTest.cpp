// The record text, the stored row and the forwarded packet of one example record per kind, as accepted
// before.

#include <regex>
#include <string>

#include "support/Golden.h"
#include "unit/store/StoreTest.h"

namespace datacollector {
namespace {

class GoldenTest : public KindTest {
 protected:
  // Some kinds take their read time at packing.
  static std::string WithoutReadTime(const std::string& text, const std::string& readTime) {
    return std::regex_replace(text, std::regex(readTime), "<read time>");
  }
};

TEST_P(GoldenTest, RecordTextRowAndPacketAreTheAcceptedOnes) {
  MakeTable(kind_);
  Store(kind_, 1);
  RecordingHandOver handOver;
  EXPECT_EQ(Silently([&] { return ReadUnsent(kind_, handOver); }), 1);
  ASSERT_EQ(handOver.packets.size(), 1U);

  const DataCollectorDBData& data = Main().DataCollectorDBData;
  std::string text = std::string("record text\n") + data.i8_DCDBRecord[kind_].c_str() + "\n\nrow\n";
  const auto row = Select(kind_, "*").at(0);
  for (std::size_t column = 0; column < row.size(); ++column) {
    text += std::string(Config(kind_).i8_ColumnNames[column].c_str()) + " = " + row[column] + "\n";
  }
  text += "\npacket\n" + handOver.packets[0] + "\n";
  ExpectGolden("tests/unit/store/golden", std::string(kKindWord[kind_]) + ".txt",
               WithoutReadTime(text, data.i8_ReadTimeStamp[kind_].c_str()));
}

INSTANTIATE_TEST_SUITE_P(Kinds, GoldenTest, ::testing::ValuesIn(kAllKinds), KindName);

}  // namespace
}  // namespace datacollector
