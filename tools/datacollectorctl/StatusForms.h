// The forms in which a status is shown.
#pragma once

#include <string>
#include <vector>

#include "Figures.h"
#include "Verdicts.h"

namespace datacollector::ctl {

// What is shown. `kinds` says which kinds; disabled ones never are.
struct StatusView {
  const GatewayStatus& status;
  const std::vector<Verdict>& verdicts;
  std::array<bool, kSourceKinds> kinds;

  bool Shows(SourceKind kind) const { return kinds[kind] && status.kinds[kind].enabled; }
};

std::string StatusText(const StatusView& view, std::size_t width);
std::string StatusJson(const StatusView& view);
std::string StatusMetrics(const StatusView& view);  // OpenMetrics
std::string StatusHtml(const StatusView& view);     // one page that needs nothing else

// Adds a text as a JSON string, quotes included.
void AppendJson(std::string& out, const std::string& text);

std::string HexText(std::uint64_t value);
std::string TimeText(std::int64_t moment);  // local time

}  // namespace datacollector::ctl
