#include "mqtt/inbound/RepeatedRecords.h"

#include <array>
#include <utility>

namespace datacollector {
namespace {

std::array<bool, kSourceKinds> expected{};

}  // namespace

void ExpectRepeatedRecords() { expected.fill(true); }

bool MayBeRepeated(SourceKind kind) { return std::exchange(expected[kind], false); }

}  // namespace datacollector
