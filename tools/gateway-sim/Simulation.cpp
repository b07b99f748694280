#include "Simulation.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <istream>
#include <string>
#include <string_view>

#include "Display.h"
#include "HttpSendApp.h"
#include "Kinds.h"
#include "Ledger.h"
#include "Options.h"
#include "SourceApps.h"
#include "ground/SourceKind.h"

namespace datacollector::sim {
namespace {

constexpr double kSecondsToConnect = 10.0;
// The daemon tries to reconnect once a second; its subscriptions are not kept, so that records which the
// broker gets before it is back reach nobody.
constexpr double kSecondsForDaemonToReturn = 3.0;
// A record that was refused never arrives; a pause doesn't wait for it longer than this.
constexpr double kSecondsToArrive = 5.0;
constexpr double kSecondsToArriveAtEnd = 1.0;
constexpr double kSecondsBetweenTraceReads = 0.05;
constexpr double kSecondsBetweenDisplays = 0.1;

double MonotonicSeconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

std::string ClientId(const char* role) {
  return std::string("gateway-sim-") + role + '-' + std::to_string(getpid());
}

}  // namespace

Simulation::Simulation(const Options& options, const Requests& requests)
    : options_(options),
      requests_(requests),
      run_(static_cast<unsigned long>(std::time(nullptr))),
      ledger_(!options.trace.empty()),
      trace_(options.trace, options.kinds, ledger_),
      sourceClient_(ClientId("sources"), options.host, options.port),
      httpClient_(ClientId("http"), options.host, options.port),
      sources_(options, run_, ledger_,
               [this](SourceKind kind, const char* topic, const std::string& payload) {
                 sourceClient_.Publish(topic, payload, [this, kind] { ledger_.Published(kind); });
               }),
      http_(options, run_, ledger_,
            [this](SourceKind kind, const Packet& packet, const char* topic, const std::string& payload) {
              httpClient_.Publish(topic, payload, [this, kind, packet] { ledger_.Confirmed(kind, packet); });
            }),
      display_(stdout, isatty(STDOUT_FILENO) == 1, options.quiet, options.kinds, ledger_),
      start_(MonotonicSeconds()),
      now_(start_),
      phaseSince_(start_) {
  httpClient_.Subscribe(kPacketFilter, [this](std::string_view topic, std::string_view payload) {
    http_.OnPacket(now_, topic, payload);
    fastest_.Note(now_);
  });
}

bool Simulation::Run() {
  SetPhase(Phase::kConnecting);
  while (phase_ != Phase::kEnded) {
    Round();
  }
  LetArrive();
  httpClient_.Close();
  sourceClient_.Close();
  SetPhase(Phase::kEnded);
  display_.Finish(now_ - start_, phase_);
  if (options_.summary) {
    display_.Summary();
  }
  if (options_.fastestSecond) {
    std::printf("handed over in the fastest second: %zu\n", fastest_.Records());
  }
  return Expected();
}

void Simulation::Round() {
  WaitForWork();
  Connect();
  if (now_ >= nextTrace_) {
    nextTrace_ = now_ + kSecondsBetweenTraceReads;
    trace_.Tick();
  }
  if (started_ && sourceClient_.Ready()) {
    sources_.Tick(now_);
  }
  http_.Tick(now_);
  Advance();
  ShowProgress();
}

void Simulation::ShowProgress() {
  if (now_ < nextDisplay_) {
    return;
  }
  nextDisplay_ = now_ + kSecondsBetweenDisplays;
  std::string note;
  if (!options_.note.empty()) {
    std::getline(std::ifstream(options_.note) >> std::ws, note);
  }
  display_.Tick(now_ - start_, phase_, note);
}

// What was published right before the end still gets through and is counted.
void Simulation::LetArrive() {
  const double end = now_ + kSecondsToArriveAtEnd;
  while (started_ && now_ < end && !ledger_.AllArrived(options_.kinds)) {
    WaitForWork();
    trace_.Tick();
  }
}

// Sleeps until a socket, a due record or confirmation, the trace or a signal has work.
void Simulation::WaitForWork() {
  const double due =
      std::min({now_ + kSecondsBetweenTraceReads,
                started_ && sourceClient_.Ready() ? sources_.NextDue() : now_ + 1.0, http_.NextDue()});
  const int timeout = static_cast<int>(std::max(0.0, due - now_) * 1000.0) + 1;
  std::array<pollfd, 2> sockets = {{{sourceClient_.Socket(), 0, 0}, {httpClient_.Socket(), 0, 0}}};
  sockets[0].events = sourceClient_.Events();
  sockets[1].events = httpClient_.Events();
  if (poll(sockets.data(), sockets.size(), timeout) < 0) {
    sockets[0].revents = sockets[1].revents = 0;
  }
  now_ = MonotonicSeconds();
  sourceClient_.Service(now_, sockets[0].revents);
  httpClient_.Service(now_, sockets[1].revents);
}

void Simulation::Connect() {
  httpClient_.ConnectIfDue(now_);
  const double rest = started_ ? kSecondsForDaemonToReturn : 0.0;
  if (httpClient_.Ready() && now_ - httpClient_.ReadySince() >= rest) {
    sourceClient_.ConnectIfDue(now_);
  }
}

void Simulation::SetPhase(Phase phase) {
  phase_ = phase;
  phaseSince_ = now_;
  if (!options_.report.empty() && !WriteReport(options_.report, phase, run_, options_.kinds, ledger_)) {
    std::fprintf(stderr, "gateway-sim: can't write %s\n", options_.report.c_str());
  }
}

void Simulation::Advance() {
  if (requests_.end != 0) {
    SetPhase(Phase::kEnded);
    return;
  }
  if (!started_) {
    if (httpClient_.Ready() && sourceClient_.Ready()) {
      started_ = true;
      sources_.Start(now_);
      SetPhase(Phase::kRunning);
    } else if (now_ - start_ > kSecondsToConnect) {
      std::fprintf(stderr, "gateway-sim: no broker at %s port %d\n", options_.host.c_str(), options_.port);
      SetPhase(Phase::kEnded);
    }
    return;
  }
  if (requests_.pause != 0 && !sources_.Paused()) {
    sources_.Pause(now_);
    SetPhase(Phase::kPausing);
  } else if (requests_.pause == 0 && sources_.Paused()) {
    sources_.Resume(now_);
    SetPhase(Phase::kRunning);
  }
  if (phase_ == Phase::kPausing &&
      (ledger_.AllArrived(options_.kinds) || now_ - phaseSince_ > kSecondsToArrive)) {
    SetPhase(Phase::kPaused);
  } else if (phase_ == Phase::kRunning && sources_.Done(now_)) {
    SetPhase(Phase::kSettling);
  } else if (phase_ == Phase::kSettling && Settled()) {
    SetPhase(Phase::kEnded);
  }
}

bool Simulation::Settled() const {
  return now_ - phaseSince_ >= options_.settle ||
         (ledger_.AllArrived(options_.kinds) && ledger_.AllConfirmed(options_.kinds));
}

bool Simulation::Expected() const {
  if (!trace_.Found()) {
    std::fprintf(stderr, "gateway-sim: there was no %s to read\n", options_.trace.c_str());
  }
  const bool stored = !options_.expectAllStored || ledger_.AllStored(options_.kinds);
  if (!stored) {
    std::fprintf(stderr, "gateway-sim: not every record was stored\n");
  }
  const bool confirmed = !options_.expectAllConfirmed || (ledger_.AllConfirmed(options_.kinds) &&
                                                          ledger_.Total(options_.kinds).duplicates == 0);
  if (!confirmed) {
    std::fprintf(stderr, "gateway-sim: not every record was handed over and confirmed, each from one row\n");
  }
  return started_ && stored && confirmed;
}

}  // namespace datacollector::sim
