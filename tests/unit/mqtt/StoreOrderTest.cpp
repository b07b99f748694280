// The order in which the threads' flags change. The other threads rely on it, and no result shows it: a
// process of its own is stepped through, instruction by instruction, and its flags are read after each.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/ptrace.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ground/Flags.h"
#include "ground/MainState.h"
#include "mqtt/client/ClientConfig.h"
#include "mqtt/inbound/Confirmations.h"
#include "mqtt/inbound/InboundMessage.h"
#include "mqtt/inbound/Ingestion.h"
#include "mqtt/inbound/MeterIngestion.h"
#include "mqtt/outbound/HandOver.h"
#include "support/CaptureOutput.h"
#include "support/ExampleGateway.h"
#include "support/Texts.h"

namespace {

// Where the stepping begins, in the process that is stepped through.
bool stopAtChangedRows = false;  // where they are asked for next
int stopAtLocalTime = 0;         // at which of the next calls; 0: none

}  // namespace

// These stand in front of the library's and the system's own in this program.
extern "C" {

int sqlite3_changes(sqlite3* database) {
  using Changes = int (*)(sqlite3*);
  if (stopAtChangedRows) {
    stopAtChangedRows = false;
    ::raise(SIGSTOP);
  }
  return reinterpret_cast<Changes>(::dlsym(RTLD_NEXT, "sqlite3_changes"))(database);
}

std::tm* localtime_r(const std::time_t* seconds, std::tm* local) noexcept {
  using LocalTime = std::tm* (*)(const std::time_t*, std::tm*);
  if (stopAtLocalTime > 0 && --stopAtLocalTime == 0) {
    ::raise(SIGSTOP);
  }
  return reinterpret_cast<LocalTime>(::dlsym(RTLD_NEXT, "localtime_r"))(seconds, local);
}
}

namespace datacollector {
namespace {

struct Watched {
  const char* name;
  const void* place;
  std::size_t size;
  std::uint32_t bits = ~0U;  // of a word that is watched in part
};
template <typename Variable>
Watched Watch(const char* name, const Variable& variable) {
  return {name, &variable, sizeof variable};
}
Watched Watch(const char* name, const SendWord& word, std::uint32_t bits) {
  return {name, &word, sizeof word, bits};
}

// Runs `body` in a process of its own and returns the watched variables in the order of their first changes
// behind the point where the body stops itself. Ends when all have changed.
class SteppedProcess {
 public:
  SteppedProcess(const std::function<void()>& body, std::vector<Watched> watched)
      : process_(::fork()), watched_(std::move(watched)) {
    if (process_ == 0) {
      ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
      body();
      ::_exit(0);
    }
  }
  ~SteppedProcess() {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }
  SteppedProcess(const SteppedProcess&) = delete;
  SteppedProcess(SteppedProcess&&) = delete;
  SteppedProcess& operator=(const SteppedProcess&) = delete;
  SteppedProcess& operator=(SteppedProcess&&) = delete;

  std::vector<std::string> OrderOfChanges() {
    std::vector<std::string> order;
    if (!WaitForStop()) {
      return {"the process did not stop itself"};
    }
    std::vector<std::string> before = Read();
    std::vector<bool> changed(watched_.size());
    while (order.size() < watched_.size() && Step()) {
      const std::vector<std::string> now = Read();
      for (std::size_t index = 0; index < watched_.size(); ++index) {
        if (!changed[index] && now[index] != before[index]) {
          changed[index] = true;
          order.emplace_back(watched_[index].name);
        }
      }
    }
    return order;
  }

 private:
  // Lets the process run until it stops itself; other signals stop a traced process too.
  bool WaitForStop() const {
    int status = 0;
    while (::waitpid(process_, &status, 0) == process_ && WIFSTOPPED(status)) {
      if (WSTOPSIG(status) == SIGSTOP) {
        return true;
      }
      ::ptrace(PTRACE_CONT, process_, nullptr, WSTOPSIG(status));
    }
    return false;
  }

  bool Step() const {
    int status = 0;
    return ::ptrace(PTRACE_SINGLESTEP, process_, nullptr, nullptr) == 0 &&
           ::waitpid(process_, &status, 0) == process_ && WIFSTOPPED(status);
  }

  std::vector<std::string> Read() const {
    std::vector<std::string> values;
    std::vector<iovec> here;
    std::vector<iovec> there;
    values.reserve(watched_.size());
    for (const Watched& variable : watched_) {
      values.emplace_back(variable.size, '\0');
      here.push_back({values.back().data(), variable.size});
      there.push_back({const_cast<void*>(variable.place), variable.size});
    }
    EXPECT_GT(::process_vm_readv(process_, here.data(), here.size(), there.data(), there.size(), 0), 0);
    for (std::size_t index = 0; index < watched_.size(); ++index) {
      KeepBits(values[index], watched_[index].bits);
    }
    return values;
  }

  static void KeepBits(std::string& value, std::uint32_t bits) {
    if (bits != ~0U) {
      std::uint32_t word = 0;
      std::memcpy(&word, value.data(), sizeof word);
      word &= bits;
      std::memcpy(value.data(), &word, sizeof word);
    }
  }

  pid_t process_;
  std::vector<Watched> watched_;
};

class StoreOrder : public ExampleGateway, public ::testing::WithParamInterface<SourceKind> {
 protected:
  using Order = std::vector<std::string>;

  static Order OrderOf(const std::function<void()>& body, const std::vector<Watched>& watched) {
    CapturedOutput output;
    SteppedProcess process(body, watched);
    Order order = process.OrderOfChanges();
    output.Out();
    return order;
  }

  std::vector<Watched> SendFlags() const {
    return {Watch("gate", gi32_HTTPThreadSendFlag), Watch("flags", flags_.word),
            Watch("number", flags_.gi32_LastSentDCDBRecordNum),
            Watch("time", flags_.gui32_LastDCDBRecordSentTime)};
  }

  // As it stands when a retry sends a record: everything changes with its announcement.
  void SetBeforeRetry() const {
    flags_.gui8_SendDCDBRecordFlags = 1;
    flags_.gui8_SendDCDBRecordRetryFlags = 1;
    flags_.gui8_SendUnsentDCDBRecord = 1;
    gi32_HTTPThreadSendFlag = 1;
  }

  const SourceKind kind_ = GetParam();
  KindSendFlags& flags_ = CloudConnectSendFlags[kind_];
};

// The time and the number before the flags, which change at once and are read first by whoever reads them
// all.
TEST_P(StoreOrder, ARecordIsAnnouncedFromItsTimeToTheGate) {
  SetBeforeRetry();
  ClientConfig cfg{};
  HandOver handOver(kind_, cfg, 0.0);
  std::vector<Watched> watched = SendFlags();
  Order expected = {"time", "number", "flags", "gate"};
  if (kind_ == AIO) {
    watched.erase(watched.begin());
    expected.pop_back();
  }
  EXPECT_EQ(OrderOf(
                [&handOver] {
                  ::raise(SIGSTOP);
                  handOver.Announce(9);
                },
                watched),
            expected);
}

TEST_P(StoreOrder, AnAnnouncementIsTakenBackWithItsFlagsBehindNumberAndTime) {
  SetBeforeRetry();
  ClientConfig cfg{};
  HandOver handOver(kind_, cfg, 0.0);
  handOver.Announce(9);
  std::vector<Watched> watched = SendFlags();
  Order expected = {"number", "time", "flags", "gate"};
  if (kind_ == AIO) {
    watched.erase(watched.begin());
    expected.pop_back();
  }
  EXPECT_EQ(OrderOf(
                [&handOver] {
                  ::raise(SIGSTOP);
                  handOver.Recall();
                },
                watched),
            expected);
}

constexpr std::array<std::size_t, kSourceKinds> kConfirmationEntries = {10, 11, 12, 13, 14, 16};

TEST_P(StoreOrder, AConfirmationReleasesInTheOrderThatTheForwardingThreadReliesOn) {
  MakeTable(kind_);
  AddRow(kind_, 5, "0", "time");
  flags_.gui8_NoDCDBRecordsToPublish = 1;
  std::vector<Watched> watched = {
      Watch("release time", flags_.gf64_SendDCDBRecordFlagSetTime), Watch("send", flags_.word, kSendWanted),
      Watch("none left", flags_.gui8_NoDCDBRecordsToPublish), Watch("unsent", flags_.word, kSendUnsent)};
  Order expected = {"unsent", "none left", "send", "release time"};
  if (kind_ != AIO) {
    watched.push_back(Watch("gate", gi32_HTTPThreadSendFlag));
    expected.emplace_back("gate");
  }
  EXPECT_EQ(OrderOf(
                [this] {
                  stopAtChangedRows = true;
                  ApplyConfirmation({SubscribeTopic(kConfirmationEntries[kind_]), "X,time,5,1,time"});
                },
                watched),
            expected);
}

// Into the kind's first meter on the first line.
constexpr std::array<std::size_t, kSourceKinds> kRecordEntries = {0, 1, 6, 4, 7, 9};

TEST_P(StoreOrder, APeriodIsWrittenBeforeItsWindowsAreClosed) {
  PeriodicWindow& window = kind_ < RS485 ? DBWriteFlags.At(kind_) : DBWriteFlags.At(kind_, 0, 0);
  window.gui8_WriteRecordsWithinPeriodicMinute = 1;
  window.gui8_WriteRecordsAfterPeriodicMinute = 1;
  gi32_HTTPThreadSendFlag = 1;
  ByteFlag& received = kind_ < RS485 ? RecordFlags.At(kind_) : RecordFlags.At(kind_, 0, 0);
  EXPECT_EQ(
      OrderOf(
          [this] {
            stopAtLocalTime = kind_ == RS485 || kind_ == SNMP ? 2 : 1;  // of the current minute
            const InboundMessage message{SubscribeTopic(kRecordEntries[kind_]), kExamplePayloads[kind_]};
            IngestIoRecord(message);
            IngestMeterRecord(message);
          },
          {Watch("after", window.gui8_WriteRecordsAfterPeriodicMinute),
           Watch("within", window.gui8_WriteRecordsWithinPeriodicMinute),
           Watch("written", window.gui8_PeriodicRecordsWritten), Watch("received", received)}),
      (Order{"received", "written", "within", "after"}));
}

INSTANTIATE_TEST_SUITE_P(Kinds, StoreOrder, ::testing::ValuesIn(kAllKinds), KindName());

}  // namespace
}  // namespace datacollector
