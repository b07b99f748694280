#include "store/StoreAccess.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <string>

#include "ground/FileLogger.h"
#include "ground/KindShape.h"
#include "ground/Trace.h"
#include "store/CreateDB.h"
#include "store/SetAside.h"

namespace datacollector {
namespace {

constexpr int kOpenAttempts = 3;

// Threads that use the store at the same time: main, network, forwarding; and the network thread that
// replaces one which is just ending.
constexpr std::size_t kConnections = 8;

// What the process knows of a kind's database. All of it under `mutex`.
struct KindStore {
  std::mutex mutex;
  std::array<Database*, kConnections> connections{};  // each owned by its thread; nullptr: a free place
  JournalChoice journal;
  bool journalSaid = false;
  bool recovered = false;
};
std::array<KindStore, kSourceKinds> stores;

// A thread's connections, which end with it.
class ThreadConnections {
 public:
  ThreadConnections() = default;
  ThreadConnections(const ThreadConnections&) = delete;
  ThreadConnections(ThreadConnections&&) = delete;
  ThreadConnections& operator=(const ThreadConnections&) = delete;
  ThreadConnections& operator=(ThreadConnections&&) = delete;
  ~ThreadConnections() {
    for (const SourceKind kind : kAllKinds) {
      const std::lock_guard lock(stores[kind].mutex);
      std::ranges::replace(stores[kind].connections, &databases_[kind], nullptr);
      databases_[kind].Close();
    }
  }

  // The caller holds the kind's lock.
  Database& Of(SourceKind kind) {
    auto& places = stores[kind].connections;
    if (std::ranges::find(places, &databases_[kind]) == places.end()) {
      *std::ranges::find(places, nullptr) = &databases_[kind];
    }
    return databases_[kind];
  }

 private:
  std::array<Database, kSourceKinds> databases_;
};
thread_local ThreadConnections threadConnections;

// Removes what a database that is no longer there has left beside its path. What has come there since stays:
// it belongs to the file that took the path over.
void RemoveLeftovers(const char* path, const Database& gone) {
  for (std::size_t place = 0; place < kBesideSuffixes.size(); ++place) {
    const std::string beside = std::string(path) + kBesideSuffixes[place];
    const FileIdentity& left = gone.FilesBeside()[place];
    if (left.Exists() && IdentityOf(beside.c_str()) == left) {
      ::unlink(beside.c_str());
    }
  }
}

void SayJournal(SourceKind kind, KindStore& store) {
  static constexpr std::array<const char*, 4> kWords = {"", "write-ahead log", "rollback journal",
                                                        "rollback journal, lock file"};
  if (store.journalSaid) {
    return;
  }
  store.journalSaid = true;
  const char* word = kWords[static_cast<std::size_t>(store.journal.journal)];
  if (store.journal.journal == Journal::Log) {
    PrintError("%s database: %s\n", kKindIndexWord[kind], word);
  } else {
    PrintError("%s database: %s (%s)\n", kKindIndexWord[kind], word, store.journal.reason.c_str());
  }
}

}  // namespace

StoreAccess::StoreAccess(SourceKind kind, const char* path)
    : kind_(kind), path_(path), lock_(stores[kind].mutex), database_(threadConnections.Of(kind)) {}

bool StoreAccess::IsRecovered() const { return stores[kind_].recovered; }

void StoreAccess::SetRecovered() { stores[kind_].recovered = true; }

void StoreAccess::Close() { database_.Close(); }

// Nobody opens the file that has taken a path over before all connections to the one that was there are
// closed and its log is gone: a log that meets a foreign database destroys it. A database that was moved
// takes along what its log holds.
void StoreAccess::GiveUpStrangers(const FileState& file) {
  for (Database* connection : stores[kind_].connections) {
    if (connection == nullptr || !connection->IsOpen() || connection->IsOpenOn(file)) {
      continue;
    }
    connection->Rollback();
    if (!(file.identity == connection->File())) {
      connection->EmptyLog();
    }
    RemoveLeftovers(path_, *connection);
    connection->Close();
  }
}

// What the disk can do is tried out once a run; a database that somebody else holds at that moment is
// switched at a later turn. An empty file has nothing to keep yet, but it needs the disk's locks.
void StoreAccess::SettleJournal() {
  KindStore& store = stores[kind_];
  if (database_.IsSettled()) {
    return;
  }
  if (store.journal.journal == Journal::Undecided) {
    database_.Close();  // it may have been opened with locks that the disk doesn't know
    store.journal = TryJournals(path_);
    if (store.journal.journal == Journal::LockFile) {
      RemoveStaleLockFile(path_);
    }
    if (!database_.Open(path_, LockingOf(store.journal.journal))) {
      return;
    }
  }
  if (store.journal.journal != Journal::Undecided && database_.IsOpenOn(StateOf(path_)) &&
      database_.Settle(store.journal.journal)) {
    SayJournal(kind_, store);
  }
}

bool StoreAccess::OpenOnce() {
  GiveUpStrangers(StateOf(path_));
  if (database_.IsOpen() && MeaningOf(database_.LastFailure()).opensAnew) {
    database_.Renew(LockingOf(stores[kind_].journal.journal));
  }
  if (!database_.IsOpen() && !database_.Open(path_, LockingOf(stores[kind_].journal.journal))) {
    return false;
  }
  SettleJournal();
  looked_ = true;
  return database_.IsOpen();
}

bool StoreAccess::Open(const char* attemptLog) {
  bool open = false;
  for (int attempt = 0; !open && attempt < kOpenAttempts; ++attempt) {
    open = OpenOnce();
    if (!open) {
      Print("Can not connect database '%s', so retrying %d time\n", path_, attempt);
      if (attemptLog != nullptr) {
        WriteLog("%s", attemptLog);
      }
    }
  }
  if (!open) {
    MakeDatabase();
    open = OpenOnce();
  }
  if (open) {
    Print("Connection to database '%s' is successfull\n", path_);
  }
  return open;
}

void StoreAccess::MakeDatabase() {
  looked_ = false;
  lock_.unlock();
  CreateDatabase(kind_, path_);
  lock_.lock();
}

// The connection that the next attempt uses.
bool StoreAccess::IsReady() { return looked_ || OpenOnce(); }

bool StoreAccess::MendDamage() {
  if (database_.LastFailure() != Failure::Damaged) {
    return false;
  }
  const Damage damage = DamageOf(path_, LockingOf(stores[kind_].journal.journal));
  if (damage == Damage::None) {
    return false;
  }
  for (Database* connection : stores[kind_].connections) {
    if (connection != nullptr) {
      connection->Close();
    }
  }
  if (!PutAside(kind_, path_, damage)) {
    return false;
  }
  if (damage == Damage::File) {
    MakeDatabase();
  }
  return OpenOnce();
}

void StoreAccess::Pause(const RetryRule& rule) {
  looked_ = false;
  lock_.unlock();
  if (rule.unit == WaitUnit::Milliseconds) {
    SleepInMilliSecond(rule.interval);
  } else {
    Wait(nullptr, rule.interval);
  }
  lock_.lock();
}

// Reports the latest of `failures` failed attempts. False when no further one is allowed; else true when it
// is time for it.
bool StoreAccess::AwaitNextAttempt(const RetryRule& rule, std::int32_t failures) {
  const RetryTexts& texts = rule.texts;
  const Failure failure = database_.LastFailure();
  Print(texts.failure, rule.table, ErrorText());
  if (texts.failureLog != nullptr) {
    WriteLog(texts.failureLog, rule.table, ErrorText());
  }
  if (failures >= rule.maxAttempts) {
    return false;
  }
  Print(texts.retry, rule.interval);
  if (texts.retryLog != nullptr) {
    WriteLog("%s", texts.retryLog);
  }
  if (rule.makesMissingTable && failure == Failure::NoTable) {
    if (texts.missingTableLog != nullptr) {
      WriteLog("%s", texts.missingTableLog);
    }
    MakeDatabase();
  }
  ReadMonotonicClock(rule.function);
  looked_ = looked_ && !MeaningOf(failure).opensAnew;
  if (MeaningOf(failure).timeHeals) {
    Pause(rule);
  }
  return true;
}

bool StoreAccess::TryRepeatedly(const RetryRule& rule, bool (*attempt)(void*), void* object) {
  std::int32_t failures = 0;
  while (!IsReady() || (!attempt(object) && (!MendDamage() || !attempt(object)))) {
    if (!AwaitNextAttempt(rule, ++failures)) {
      return false;
    }
  }
  return true;
}

void ResetStore() {
  for (KindStore& store : stores) {
    const std::lock_guard lock(store.mutex);
    for (Database* connection : store.connections) {
      if (connection != nullptr) {
        connection->Close();
      }
    }
    store.journal = {};
    store.journalSaid = false;
    store.recovered = false;
  }
}

}  // namespace datacollector
