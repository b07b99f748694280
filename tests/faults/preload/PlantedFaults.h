// Faults planted into a daemon to see whether the bench notices them.
//
// A second library in front of SQLite and the MQTT client, so that the daemon itself is the one that ships.
#pragma once

namespace datacollector::faults {

// Names the fault that is planted, see PlantedFaults.cpp.
inline constexpr const char* kPlantedVariable = "DATACOLLECTOR_PLANTED_FAULT";

}  // namespace datacollector::faults
