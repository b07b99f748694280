// An example record of every kind.
#pragma once

#include <array>

#include "ground/SourceKind.h"

namespace datacollector {

// What a source application of each kind publishes: request id 7, meter 1, line 1.
inline constexpr std::array<const char*, kSourceKinds> kExamplePayloads = {
    R"("<","M417",0,7,99,12.34,56.78,"2026-11-20 10:00:00",0,"0",">")",
    R"("<","AI2DI2DO2_VT480",0,7,99,1,0,"2026-11-20 10:00:00",0,"0",">")",
    R"("<","AI2DI2DO2_VT480",0,7,99,21.5,22.0,"2026-11-20 10:00:00",0,"0",">")",
    R"(1,"GW0001",0,7,1,1,"PM3-A","3P4W","17","192.168.1.17","0","40001","3","3","230.1","229.8","231.0",)"
    R"("2026-11-20 10:00:00",0,"0",">")",
    R"(1,"SITE01","GW0001",0,7,1,1,"PM1-C","1P2W","5","0","40001","3","3","230.1","5.2","1.19",)"
    R"("2026-11-20 10:00:00",0,"0",">")",
    R"(1,"SITE01","GW0001",7,1,1,"ups-1","UPS","192.168.1.50",161,"0","[","load=41;battery=100","]",)"
    R"("2026-11-20 10:00:00",0,"0",">")",
};

}  // namespace datacollector
