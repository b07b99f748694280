// One run of the simulator: the two applications, their connections and what happens between start and end.
#pragma once

#include <csignal>

#include "Display.h"
#include "FastestSecond.h"
#include "HttpSendApp.h"
#include "Ledger.h"
#include "MqttClient.h"
#include "Options.h"
#include "SourceApps.h"
#include "TraceFollower.h"

namespace datacollector::sim {

// What signal handlers ask of the run.
struct Requests {
  volatile std::sig_atomic_t end = 0;
  volatile std::sig_atomic_t pause = 0;
};

class Simulation {
 public:
  Simulation(const Options& options, const Requests& requests);

  // Runs to the end. True when all that was expected has happened; what has not is told on standard error.
  bool Run();

 private:
  void Round();
  void LetArrive();
  void ShowProgress();
  void WaitForWork();
  void Connect();
  void Advance();
  void SetPhase(Phase phase);
  bool Settled() const;
  bool Expected() const;

  const Options& options_;
  const Requests& requests_;
  unsigned long run_;
  Ledger ledger_;
  TraceFollower trace_;
  MqttClient sourceClient_;
  MqttClient httpClient_;
  SourceApps sources_;
  HttpSendApp http_;
  Display display_;
  FastestSecond fastest_;

  Phase phase_ = Phase::kConnecting;
  double start_;
  double now_;
  double phaseSince_;
  double nextTrace_ = 0.0;
  double nextDisplay_ = 0.0;
  bool started_ = false;
};

}  // namespace datacollector::sim
