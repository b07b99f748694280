// Settings of the daemon itself and of the site: intervals and switches, topics, identity, versions.
//
// Texts that the main state keeps as heap copies are never freed: they are used until the process ends.
#pragma once

#include "ground/MainState.h"

namespace datacollector {

// Each returns 0, or -1 when its file can't be read or a required key is missing (topics: the two counts;
// site: the two switches); fields read until then keep their value.
int ReadGenericConfig(DataCollectorMainStructure& main, const char* path);
int ReadTopicsConfig(DataCollectorMainStructure& main, const char* path);

// Fills the packing identity as well.
int ReadSiteIDCfg(DataCollectorMainStructure& main, const char* path);

int ReadSoftwareVersionCfg(DataCollectorMainStructure& main, const char* path);

}  // namespace datacollector
