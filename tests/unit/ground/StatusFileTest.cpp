#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <fstream>
#include <string>

#include "ground/StatusFile.h"
#include "ground/Version.h"

namespace datacollector {
namespace {

constexpr const char* kPath = "/tmp/figures";

// A reader's view of the file.
class MappedStatus {
 public:
  MappedStatus() {
    const int descriptor = ::open(kPath, O_RDONLY | O_CLOEXEC);
    struct stat status {};
    EXPECT_EQ(::fstat(descriptor, &status), 0);
    bytes_ = static_cast<std::size_t>(status.st_size);
    memory_ = ::mmap(nullptr, bytes_, PROT_READ, MAP_SHARED, descriptor, 0);
    EXPECT_NE(memory_, MAP_FAILED);
    ::close(descriptor);
  }
  ~MappedStatus() { ::munmap(memory_, bytes_); }
  MappedStatus(const MappedStatus&) = delete;
  MappedStatus(MappedStatus&&) = delete;
  MappedStatus& operator=(const MappedStatus&) = delete;
  MappedStatus& operator=(MappedStatus&&) = delete;

  std::size_t Bytes() const { return bytes_; }
  const StatusRecord& Record() const { return *static_cast<const StatusRecord*>(memory_); }

 private:
  void* memory_ = nullptr;
  std::size_t bytes_ = 0;
};

std::uint32_t Now() { return static_cast<std::uint32_t>(std::time(nullptr)); }

TEST(StatusFileTest, AReaderThatMapsTheFileSeesWhoRunsAndEveryFigureAtOnce) {
  const std::uint32_t before = Now();
  OpenStatusFile(kPath);
  const MappedStatus file;
  ASSERT_LE(file.Bytes(), 4096U);
  const StatusRecord& record = file.Record();
  ASSERT_TRUE(IsStatusRecord(record, file.Bytes()));
  EXPECT_STREQ(record.version.data(), kVersion);
  EXPECT_EQ(record.pid, static_cast<std::uint32_t>(::getpid()));
  EXPECT_GE(record.startedWall, before);
  EXPECT_EQ(record.kinds[AIO].storedAt, 0U);

  SetConfigurationDigest(0x0123456789abcdefU);
  EXPECT_EQ(record.digest[0], 0x01234567U);
  EXPECT_EQ(record.digest[1], 0x89abcdefU);
  CountStored(AIO);
  CountStored(AIO);
  CountRefused(SNMP);
  CountConfirmed(DIO);
  CountMisfit(RS232);
  EXPECT_EQ(record.kinds[AIO].stored, 2U);
  EXPECT_GE(record.kinds[AIO].storedAt, before);
  EXPECT_EQ(record.kinds[SNMP].refused, 1U);
  EXPECT_EQ(record.kinds[DIO].confirmed, 1U);
  EXPECT_GE(record.kinds[DIO].confirmedAt, before);
  EXPECT_EQ(record.kinds[RS232].misfit, 1U);
  Heartbeat(kNetworkThread);
  EXPECT_GE(record.threads[kNetworkThread].wall, before);
  EXPECT_EQ(record.threads[kMainThread].wall, 0U);
  RecordForwarding(1, true);
  RecordConnection(true);
  EXPECT_EQ(record.gate, 1U);
  EXPECT_EQ(record.wanUp, 1U);
  EXPECT_EQ(record.connected, 1U);
  EXPECT_GE(record.threads[kForwardingThread].wall, before);
}

TEST(StatusFileTest, TheSameRecordHandedOverOnceMoreIsARepetition) {
  OpenStatusFile(kPath);
  const MappedStatus file;
  CountHandedOver(RS485, 7);
  CountHandedOver(RS485, 7);
  CountHandedOver(RS485, 8);
  EXPECT_EQ(file.Record().kinds[RS485].handedOver, 3U);
  EXPECT_EQ(file.Record().kinds[RS485].repeated, 1U);
  EXPECT_EQ(file.Record().kinds[RS485].lastHandedOver, 8U);
}

TEST(StatusFileTest, EachStartMakesTheFileAnewAndLeavesWhatALinkInItsPlacePointsTo) {
  std::ofstream("/tmp/victim") << "kept";
  ::unlink(kPath);
  ASSERT_EQ(::symlink("/tmp/victim", kPath), 0);
  OpenStatusFile(kPath);
  CountStored(AIO);
  OpenStatusFile(kPath);
  const MappedStatus file;
  EXPECT_TRUE(IsStatusRecord(file.Record(), file.Bytes()));
  EXPECT_EQ(file.Record().kinds[AIO].stored, 0U);
  std::string text;
  std::ifstream("/tmp/victim") >> text;
  EXPECT_EQ(text, "kept");
}

TEST(StatusFileTest, AFileThatIsCutShortCostsNothingAndIsWholeAgainAtTheNextBeat) {
  OpenStatusFile(kPath);
  CountStored(AIO);
  ASSERT_EQ(::truncate(kPath, 0), 0);
  CountStored(AIO);
  CountRefused(SNMP);
  Heartbeat(kMainThread);
  const MappedStatus file;
  ASSERT_TRUE(IsStatusRecord(file.Record(), file.Bytes()));
  EXPECT_EQ(file.Record().kinds[AIO].stored, 2U);
  EXPECT_EQ(file.Record().kinds[SNMP].refused, 1U);
  EXPECT_STREQ(file.Record().version.data(), kVersion);
}

TEST(StatusFileTest, WithoutAFileTheFiguresAreCountedAllTheSame) {
  OpenStatusFile("/tmp/no/such/folder/figures");
  CountStored(TEMPERATURE);
  EXPECT_EQ(CurrentStatus().kinds[TEMPERATURE].stored, 1U);
}

TEST(StatusFileTest, ARecordOfAnotherLayoutOrCutShortIsRefused) {
  StatusRecord record{};
  EXPECT_FALSE(IsStatusRecord(record, sizeof record));
  record.magic = kStatusMagic;
  record.layout = kStatusLayout;
  record.size = sizeof record;
  EXPECT_TRUE(IsStatusRecord(record, sizeof record));
  EXPECT_FALSE(IsStatusRecord(record, sizeof record - 1));
  record.layout = kStatusLayout + 1;
  EXPECT_FALSE(IsStatusRecord(record, sizeof record));
}

}  // namespace
}  // namespace datacollector
