// Wrapping of the request numbers that source applications echo. MQTT network thread, after a stored record.
#pragma once

#include <cstddef>

#include "ground/SourceKind.h"

namespace datacollector {

// Sets the request counter of an I/O kind back to 0 once it is greater than MaxAppDataReqId, so it runs from
// 1 to MaxAppDataReqId + 1. Other kinds have no counter and are left alone.
void ResetReqId(std::size_t kind);

// The same for the request number of every meter (device) on a zero-based line of a meter kind; a line whose
// records are not stored has none.
void ResetRequestIds(SourceKind kind, std::size_t line);
void ResetRS485ReqId(std::size_t line);
void ResetRS232ReqId(std::size_t line);
void ResetSNMPReqId(std::size_t line);

}  // namespace datacollector
