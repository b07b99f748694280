#include "faults/bench/Faults.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <sstream>

#include "faults/preload/PlantedFaults.h"
#include "gateway/harness/ChildProcess.h"

namespace datacollector::faults {
namespace {

constexpr const char* kControlFile = "/tmp/faults.control";
constexpr const char* kCallsFile = "/tmp/faults.control.calls";

// A text option of a sanitizer beside those that the test was started with.
std::string With(const std::string& variable, const std::string& option) {
  const char* options = std::getenv(variable.c_str());
  return variable + "=" + (options == nullptr ? "" : std::string(options) + ":") + option;
}

}  // namespace

Faults::Faults(const std::string& folder) {
  std::filesystem::remove(kCallsFile);
  std::ofstream(kControlFile) << std::string(sizeof(FaultControl), '\0');
  const gateway::Descriptor file(::open(kControlFile, O_RDWR | O_CLOEXEC));
  void* memory = ::mmap(nullptr, sizeof(FaultControl), PROT_READ | PROT_WRITE, MAP_SHARED, file.Get(), 0);
  if (memory == MAP_FAILED) {
    std::perror(kControlFile);
    std::abort();
  }
  control_ = new (memory) FaultControl{};
  folder.copy(control_->folder.data(), control_->folder.size() - 1);
}

Faults::~Faults() { ::munmap(control_, sizeof(FaultControl)); }

std::vector<std::string> Faults::Environment(const std::string& planted) {
  // The libraries come before the sanitizers' own, which is all the same to both.
  std::string libraries = DATACOLLECTOR_FAULT_LIBRARY;
  std::vector<std::string> environment = {std::string(kControlVariable) + "=" + kControlFile,
                                          With("ASAN_OPTIONS", "verify_asan_link_order=0")};
  if (!planted.empty()) {
    libraries += ":" DATACOLLECTOR_PLANTED_LIBRARY;
    environment.push_back(std::string(kPlantedVariable) + "=" + planted);
  }
  environment.push_back("LD_PRELOAD=" + libraries);
  return environment;
}

void Faults::Set(std::size_t number, const FailingCalls& calls) {
  FaultRule& rule = control_->rules.at(number);
  rule.kinds = 0;
  rule.error = calls.error;
  rule.first = calls.first;
  rule.last = calls.last;
  rule.seen = 0;
  rule.failed = 0;
  rule.ending.fill('\0');
  calls.ending.copy(rule.ending.data(), rule.ending.size() - 1);
  rule.kinds = calls.kinds;
}

void Faults::Heal() { control_->rules[0].kinds = 0; }

std::uint32_t Faults::Failed() const { return control_->rules[0].failed; }

std::uint32_t Faults::Seen() const { return control_->rules[0].seen; }

void Faults::Record(bool on) { control_->recording = on ? 1 : 0; }

std::vector<ChangeEntry> Faults::Changes() const {
  std::stringstream content;
  content << std::ifstream(kCallsFile, std::ios::binary).rdbuf();
  const std::string bytes = content.str();
  std::vector<ChangeEntry> changes;
  std::size_t at = 0;
  const auto take = [&](std::size_t length) {
    at += length;
    return bytes.substr(at - length, length);
  };
  while (at + sizeof(ChangeHeader) <= bytes.size()) {
    ChangeHeader header{};
    std::memcpy(&header, take(sizeof header).data(), sizeof header);
    ChangeEntry entry{.change = header.change, .offset = header.offset};
    entry.path = take(header.pathLength);
    entry.secondPath = take(header.secondPathLength);
    entry.data = take(header.dataLength);
    changes.push_back(std::move(entry));
  }
  EXPECT_EQ(at, bytes.size()) << "the file of calls ends within an entry";
  return changes;
}

}  // namespace datacollector::faults
