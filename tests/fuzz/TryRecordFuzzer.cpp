// What `datacollectorctl check --try` says of any payload of any kind: it ends, says either why the record is
// refused or how it is packed, and says the same again.

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "GatewayTree.h"
#include "TryRecord.h"
#include "fuzz/FuzzGateway.h"

namespace {

using datacollector::ctl::GatewayTree;
using datacollector::ctl::TriedRecord;

constexpr std::size_t kLongestArgument = 4000;

GatewayTree ExampleGateway() {
  for (const auto& file : datacollector::fuzz::ExampleFiles()) {
    datacollector::fuzz::Install(file);
  }
  return datacollector::ctl::LoadGateway("");
}

[[noreturn]] void Fail(const char* reason, const std::string& payload) {
  std::fprintf(stderr, "%s: %s\n", reason, payload.c_str());
  std::abort();
}

}  // namespace

// The first byte chooses the kind, the others are the payload.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static GatewayTree gateway = ExampleGateway();
  if (size == 0 || size > kLongestArgument) {
    return 0;
  }
  const auto kind = static_cast<datacollector::SourceKind>(data[0] % datacollector::kSourceKinds);
  const std::string payload(reinterpret_cast<const char*>(data) + 1, size - 1);
  const TriedRecord tried = datacollector::ctl::TryRecord(*gateway.main, kind, payload);
  if (tried.refusal.empty() && (tried.fields.empty() || tried.columns.empty())) {
    Fail("accepted without fields", payload);
  }
  if (datacollector::ctl::TryRecord(*gateway.main, kind, payload).refusal != tried.refusal) {
    Fail("answered in two ways", payload);
  }
  return 0;
}
