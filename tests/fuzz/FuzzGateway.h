// The gateway's files for the fuzz targets that run the daemon's code on its real paths, in a private root.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace datacollector::fuzz {

struct ExampleFile {
  std::filesystem::path path;  // where the daemon reads it
  std::string content;
};

// The example configuration, sorted by path. Ends the process outside of a private root.
std::vector<ExampleFile> ExampleFiles();

void Install(const ExampleFile& file);

// Sends the trace to nowhere.
void SilenceTrace();

}  // namespace datacollector::fuzz
