// What an AIO record costs without a daemon around it: the same SQL on the same table, in a loop.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Sqlite.h"

namespace datacollector::bench {

class BareLoop {
 public:
  enum class Way {
    OpenedEachTime,  // a connection for each operation, rollback journal, the rows counted each time
    KeptOpen,        // one connection, write-ahead log, the count remembered
  };

  // On the table script's database at `path`, which is, or is to be, full with `rows` rows.
  BareLoop(Way way, std::string path, int rows);

  // Fills the empty table with rows that are sent.
  void Fill();

  // Makes room and inserts the next record, in one transaction. `request` is the record's own number.
  void Insert(int request = 7);

  // Reads the oldest row that is not sent, as it would be handed over.
  void ReadUnsent();

  // Notes the newest record as sent.
  void Confirm();

 private:
  Connection& Open();
  void Done();

  const Way way_;
  const std::string path_;
  const int rows_;
  int number_;  // of the newest record
  std::optional<Connection> connection_;
};

// What a source application publishes, with a number of its own in the place of the request id.
std::string AioPayload(int request);

}  // namespace datacollector::bench
