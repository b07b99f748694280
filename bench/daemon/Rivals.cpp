#include "daemon/Rivals.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>

#include "BareLoop.h"
#include "gateway/harness/GatewayConfig.h"
#include "gateway/harness/Peer.h"

namespace datacollector::bench {
namespace {

constexpr const char* kDaemonTopic = "IOModule/AIO/Record";
constexpr const char* kScriptTopic = "Peer/AIO/Record";
constexpr const char* kColumnFile =
    "/root/DataCollectorAppComponent/etc/Config/AIOPerDatabaseColumnsConfig.cfg";

// A full ring, made by the gateway's table script.
std::string MakeRing(const std::string& folder, const std::string& file, int rows) {
  const std::string command = "/bin/DatabaseInterface.sh --command create_table --databasepath '" + folder +
                              "/' --database '" + file + "' --table AIO_table --config " + kColumnFile;
  if (std::system(command.c_str()) != 0) {
    Fail("the table script failed");
  }
  const std::string path = folder + "/" + file;
  BareLoop(BareLoop::Way::OpenedEachTime, path, rows).Fill();
  return path;
}

class BareRival : public Rival {
 public:
  BareRival(const char* name, BareLoop::Way way, const std::string& path, int rows)
      : name_(name), loop_(way, path, rows) {}

  const char* Name() const override { return name_; }
  double Store(int records) override {
    const auto start = std::chrono::steady_clock::now();
    for (int record = 0; record < records; ++record) {
      loop_.Insert();
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  Usage Used() const override { return OwnUsage(); }

 private:
  const char* name_;
  BareLoop loop_;
};

// A process that is subscribed to a topic of its own. The records of a flood are numbered, in the place of
// the request id.
class Subscriber : public Rival {
 public:
  Subscriber(const char* name, const char* topic, std::string path, int rows,
             std::unique_ptr<WatchedProcess> process, const LoadedBroker& broker)
      : name_(name), topic_(topic), path_(std::move(path)), rows_(rows), process_(std::move(process)) {
    broker.WaitForSubscriber(topic_);
  }

  const char* Name() const override { return name_; }
  double Store(int records) override;
  Usage Used() const override { return process_->Used(); }
  int PeakMemory() const override { return process_->PeakMemory(); }
  void Check() override;

 private:
  const char* name_;
  const char* topic_;
  const std::string path_;
  const int rows_;
  std::unique_ptr<WatchedProcess> process_;
  gateway::Peer source_;
  int published_ = 0;
};

double Subscriber::Store(int records) {
  const FileTime start = std::chrono::system_clock::now();
  for (int record = 0; record < records; ++record) {
    source_.PublishLater(topic_, AioPayload(++published_));
  }
  return std::chrono::duration<double>(WhenQuiet({path_}, start) - start).count();
}

void Subscriber::Check() {
  process_->End();
  const Connection connection(path_);
  const std::string request = "SELECT CAST(SourceRequestID AS INTEGER) FROM AIO_table ORDER BY rowid ";
  if (connection.Number("SELECT COUNT(*) FROM AIO_table") != rows_ ||
      connection.Number(request + "LIMIT 1") != published_ - rows_ + 1 ||
      connection.Number(request + "DESC LIMIT 1") != published_) {
    Fail(std::string(name_) + " does not have the newest records");
  }
}

// All six kinds are enabled. Their databases lie in the folder.
void InstallConfiguration(const std::string& folder, int rows) {
  namespace fs = std::filesystem;
  gateway::GatewayConfig config;
  config.RowLimit(AIO, rows).LoopInterval(1000).Install();
  fs::create_directories("/vorl/disk/AppData/K740/DataCollector");
  fs::create_directory_symlink(folder, "/vorl/disk/AppData/K740/DataCollector/Db");
  std::ofstream("/tmp/networkstatus") << "0\n";
}

}  // namespace

std::vector<std::unique_ptr<Rival>> MakeRivals(const std::string& folder, int rows,
                                               const LoadedBroker& broker, bool withScript) {
  InstallConfiguration(folder, rows);
  std::vector<std::unique_ptr<Rival>> rivals;
  const auto addLoop = [&](const char* name, BareLoop::Way way, const std::string& file) {
    rivals.push_back(std::make_unique<BareRival>(name, way, MakeRing(folder, file, rows), rows));
  };
  addLoop("bare loop, opened each time", BareLoop::Way::OpenedEachTime, "Opened.db");
  addLoop("bare loop, kept open", BareLoop::Way::KeptOpen, "Kept.db");
  const std::string daemonPath = MakeRing(folder, "AIODataCollectorDB.db", rows);
  rivals.push_back(
      std::make_unique<Subscriber>("daemon", kDaemonTopic, daemonPath, rows, StartDaemon(), broker));
  if (withScript) {
    const std::string path = MakeRing(folder, "Script.db", rows);
    rivals.push_back(std::make_unique<Subscriber>(
        "Python script", kScriptTopic, path, rows,
        StartScript("store.py", {path, kScriptTopic, std::to_string(rows)}), broker));
  }
  return rivals;
}

}  // namespace datacollector::bench
