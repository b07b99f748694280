// Reading of the whole configuration, once, at start.
#pragma once

#include <cstddef>
#include <span>

#include "ground/FixedText.h"
#include "ground/MainState.h"

namespace datacollector {

// Runs the nine readers in their fixed order over the files at their fixed paths. Always returns 0: what
// can't be read keeps its initial value, and a data-source file that can't be read ends the reading. Main
// thread, before any other thread exists; `main` has been zeroed. `root` stands in front of every path: the
// root of a copied gateway.
int ReadConfig(DataCollectorMainStructure& main, const char* root = "");

// The places of the files in ConfigFilePaths. The column files of the kinds stand in the kinds' order, and so
// do their control files.
inline constexpr std::size_t kSourcesFile = 0;
inline constexpr std::size_t kGenericFile = 1;
inline constexpr std::size_t kTopicsFile = 2;
inline constexpr std::size_t kSiteFile = 3;
inline constexpr std::size_t kColumnFiles = 4;
inline constexpr std::size_t kControlFiles = kColumnFiles + kSourceKinds;
inline constexpr std::size_t kVersionFile = kControlFiles + kSourceKinds;
inline constexpr std::size_t kRs485DeviceFile = kVersionFile + 1;
inline constexpr std::size_t kConfigFiles = kRs485DeviceFile + 1;

// Every file that ReadConfig may look at.
std::span<const char* const> ConfigFilePaths();

// A path of the gateway below `root`.
using PathText = FixedText<1023>;
PathText RootedPath(const char* root, const char* path);

}  // namespace datacollector
