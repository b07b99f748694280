// What the tests of the per-kind readers share: a file of every kind, and the enabling of kinds and lines.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <utility>

#include "unit/config/ConfigTest.h"

namespace datacollector {

class DatabaseFilesTest : public ConfigTest {
 protected:
  // `word` tells the files of the kinds from those of other readers.
  explicit DatabaseFilesTest(std::string word) : word_(std::move(word)) {}

  std::string NameOf(SourceKind kind) const { return std::string(kKindWord[kind]) + word_ + ".cfg"; }
  std::string Path(SourceKind kind) const { return PathOf(NameOf(kind)); }
  void WriteFile(SourceKind kind, const std::string& text) const { Write(NameOf(kind), text); }

  DataCollectorSourcesConfig& Sources() { return main_->DataCollectorSourcesConfig; }

  void EnableLine(SourceKind kind, std::size_t line, int flag = 1) {
    if (kind == RS485) {
      Sources().i32_DataSourcesRS485EnableFlags[line][0] = flag;
    } else if (kind == RS232) {
      Sources().i32_DataSourcesRS232EnableFlags[line][0] = flag;
    } else {
      Sources().i32_DataSourcesSNMPEnableFlags[line][0] = flag;
    }
  }

  // Counts all I/O kinds and enables this one, or the first line of a meter kind.
  void Enable(SourceKind kind, int flag = 1) {
    Sources().i32_No_Of_Sources = 3;
    if (IsMeterKind(kind)) {
      EnableLine(kind, 0, flag);
    } else {
      Sources().i32_DataSourcesEnableFlags[kind][0] = flag;
    }
  }

  // A reader of one file per kind takes the paths in this order.
  using Reader = int (*)(DataCollectorMainStructure&, const char* aio, const char* dio, const char* rs485,
                         const char* rs232, const char* temperature, const char* snmp);
  Reading Read(Reader reader) {
    return Captured([&] {
      return reader(*main_, Path(AIO).c_str(), Path(DIO).c_str(), Path(RS485).c_str(), Path(RS232).c_str(),
                    Path(TEMPERATURE).c_str(), Path(SNMP).c_str());
    });
  }

 private:
  std::string word_;
};

}  // namespace datacollector
