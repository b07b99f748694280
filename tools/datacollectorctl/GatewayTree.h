// A gateway as its files show it: the running one, or a copy below a folder.
#pragma once

#include <memory>
#include <string>

#include "ground/MainState.h"

namespace datacollector::ctl {

// The daemon keeps the configured texts until it ends; a program that reads them again and again doesn't.
struct ReleaseMain {
  void operator()(DataCollectorMainStructure* main) const;
};

struct GatewayTree {
  std::string root;  // empty: this machine
  std::unique_ptr<DataCollectorMainStructure, ReleaseMain> main;

  std::string Path(const std::string& path) const { return root + path; }
  bool IsLive() const { return root.empty(); }
};

// Whether the readers can be given the files: a pipe in a file's place would keep them for ever, an endless
// one fill the memory.
bool AreFilesReadable(const std::string& root);

// Reads the configuration with the daemon's own readers. What they print is dropped. A tree whose files can't
// be given to them has no kinds.
GatewayTree LoadGateway(const std::string& root);

// Keeps standard output and standard error of this process quiet while it lives.
class Silence {
 public:
  Silence();
  ~Silence();
  Silence(const Silence&) = delete;
  Silence(Silence&&) = delete;
  Silence& operator=(const Silence&) = delete;
  Silence& operator=(Silence&&) = delete;

 private:
  int output_;
  int error_;
};

}  // namespace datacollector::ctl
