// What the tests of the kinds' columns by name share.
#pragma once

#include "config/DatabaseColumnsConfig.h"
#include "unit/config/DatabaseFilesTest.h"

namespace datacollector {

class DatabaseColumns : public DatabaseFilesTest {
 protected:
  DatabaseColumns() : DatabaseFilesTest("Ctrl") {}

  void SetUp() override {
    for (const SourceKind kind : kAllKinds) {
      WriteFile(kind, "");
    }
  }

  Reading ReadUpdateConfig() { return Read(ReadDataCollectorDBCtrlUpdateConfig); }
  DatabaseParams& ParamsOf(SourceKind kind) { return main_->DataCollectorDBParams[kind]; }
};

}  // namespace datacollector
