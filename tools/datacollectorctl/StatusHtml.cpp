// The status as one page: no scripts, nothing from elsewhere, readable on a telephone, in light and dark.

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "StatusForms.h"
#include "ground/KindShape.h"

namespace datacollector::ctl {
namespace {

constexpr const char* kStyle = R"(
:root{color-scheme:light dark;--ink:#1a1f24;--paper:#f5f6f7;--card:#fff;--line:#c9ced3;--dim:#5b646d;
--good:#2a7d4f;--warning:#a86400;--error:#b3261e;--graph:#2c6fbb}
@media(prefers-color-scheme:dark){:root{--ink:#e4e7ea;--paper:#14181c;--card:#1d2328;--line:#3a434b;--dim:#9aa4ad;
--good:#5cc48a;--warning:#e0a13c;--error:#f2817a;--graph:#6fa8e8}}
*{box-sizing:border-box}
body{margin:0 auto;max-width:70rem;padding:1rem;background:var(--paper);color:var(--ink);
font:16px/1.45 system-ui,sans-serif}
h1{font-size:1.3rem;margin:0}h2{font-size:1.05rem;margin:0 0 .4rem}
p{margin:.2rem 0}.dim{color:var(--dim)}
.cards{display:grid;gap:1rem;grid-template-columns:repeat(auto-fill,minmax(17rem,1fr));margin-top:1rem}
section{background:var(--card);border:1px solid var(--line);border-radius:.5rem;padding:.8rem;overflow-wrap:anywhere}
dl{display:grid;grid-template-columns:auto auto;gap:.1rem .8rem;margin:.5rem 0 0}
dt{color:var(--dim)}dd{margin:0;text-align:right;font-variant-numeric:tabular-nums}
ul{list-style:none;margin:1rem 0 0;padding:0}
li{background:var(--card);border:1px solid var(--line);border-left:.4rem solid var(--dim);padding:.4rem .6rem;
margin-top:.4rem;overflow-wrap:anywhere}
li.warning{border-left-color:var(--warning)}li.error{border-left-color:var(--error)}li.good{border-left-color:var(--good)}
svg{display:block;width:100%;height:auto}
.fill{stroke:none;fill:var(--graph)}.rest{fill:var(--line)}.curve{fill:none;stroke:var(--graph);stroke-width:2}
.axis{stroke:var(--line)}
)";

constexpr int kGraphWidth = 300;
constexpr int kGraphHeight = 80;
constexpr std::int64_t kLeastBacklog = 10;

std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char character : text) {
    switch (character) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += static_cast<unsigned char>(character) < 0x80 ? character : '?';
    }
  }
  return escaped;
}

std::string Element(const std::string& tag, const std::string& content) {
  return "<" + tag + ">" + Escaped(content) + "</" + tag.substr(0, tag.find(' ')) + ">\n";
}

std::string Shown(const FigureRow& figure, const Number& number, std::int64_t now) {
  return !number                       ? "-"
         : figure.unit == Unit::Moment ? SpanText(now - *number) + " ago"
         : figure.unit == Unit::Span   ? SpanText(*number)
         : figure.unit == Unit::Bytes  ? std::to_string((*number + 1023) / 1024) + " kB"
                                       : std::to_string(*number);
}

// "oldest_unsent_timestamp_seconds" as people read it.
std::string Label(std::string name) {
  for (const char* ending : {"_timestamp_seconds", "_seconds", "_bytes"}) {
    const std::string end(ending);
    if (name.ends_with(end)) {
      name.resize(name.size() - end.size());
    }
  }
  std::ranges::replace(name, '_', ' ');
  return name;
}

// How much of the ring is taken.
std::string FillBar(const KindStatus& kind) {
  const std::int64_t limit = std::max<std::int64_t>(kind.limit.value_or(0), 1);
  const std::int64_t filled =
      std::clamp<std::int64_t>(kind.rows.value_or(0) * kGraphWidth / limit, 0, kGraphWidth);
  const std::string width = std::to_string(kGraphWidth);
  return R"(<svg viewBox="0 0 )" + width + R"( 8" role="img" aria-label=")" +
         std::to_string(kind.rows.value_or(0)) + " of " + std::to_string(limit) +
         R"( rows"><rect class="rest" width=")" + width + R"(" height="8"/><rect class="fill" width=")" +
         std::to_string(filled) + R"(" height="8"/></svg>)" + "\n";
}

// The unsent records over the time that the newest rows cover, in steps: the most of each point of the width.
// A record that is on its way is no backlog, so that the height is that of a few at least.
std::string BacklogGraph(const KindStatus& kind, std::int64_t now) {
  if (kind.backlog.size() < 2) {
    return Element("p class=dim", "no history yet");
  }
  const std::int64_t start = kind.backlog.front()[0];
  const std::int64_t span = std::max<std::int64_t>(now - start, 1);
  const auto place = [&](std::int64_t moment) { return (moment - start) * kGraphWidth / span; };
  std::int64_t highest = 0;
  std::vector<std::array<std::int64_t, 2>> steps;  // place, backlog
  for (const auto& [moment, backlog] : kind.backlog) {
    if (steps.empty() || steps.back()[0] != place(moment)) {
      steps.push_back({place(moment), backlog});
    }
    steps.back()[1] = std::max(steps.back()[1], backlog);
    highest = std::max(highest, backlog);
  }
  const std::int64_t top = std::max(highest, kLeastBacklog);
  const auto y = [&](std::int64_t count) {
    return std::to_string(kGraphHeight - 4 - count * (kGraphHeight - 8) / top);
  };
  std::string points;
  std::string level = y(0);
  for (const auto& [left, backlog] : steps) {
    points += std::to_string(left) + "," + level + " ";
    level = y(backlog);
    points += std::to_string(left) + "," + level + " ";
  }
  points += std::to_string(kGraphWidth) + "," + level;
  const std::string size = std::to_string(kGraphWidth) + " " + std::to_string(kGraphHeight);
  return R"(<svg viewBox="0 0 )" + size +
         R"(" role="img" aria-label="backlog over time"><path class="axis" d="M0 )" + y(0) + "H" +
         std::to_string(kGraphWidth) + R"("/><polyline class="curve" points=")" + points + R"("/></svg>)" +
         "\n" +
         Element("p class=dim",
                 "unsent over the last " + SpanText(span) + ", at most " + std::to_string(highest));
}

std::string Card(const StatusView& view, SourceKind source) {
  const KindStatus& kind = view.status.kinds[source];
  std::string card = "<section>\n" + Element("h2", kKindIndexWord[source]);
  if (!kind.problem.empty()) {
    card += Element("p", kind.problem);
  }
  card += FillBar(kind) + BacklogGraph(kind, view.status.takenAt) + "<dl>\n";
  for (const FigureRow& figure : kFigures) {
    if (const Number& number = kind.*figure.value) {
      card += Element("dt", Label(figure.name)) + Element("dd", Shown(figure, number, view.status.takenAt));
    }
  }
  return card + "</dl>\n</section>\n";
}

std::string VerdictList(const StatusView& view) {
  if (view.verdicts.empty()) {
    return "<ul>\n" + Element("li class=good", "Nothing to report.") + "</ul>\n";
  }
  std::string list = "<ul>\n";
  for (const Verdict& verdict : view.verdicts) {
    list += Element(
        std::string("li class=") + WordOf(verdict.severity),
        verdict.subject + ": " + verdict.reason + ". Remedy: " + verdict.remedy + " [" + verdict.code + "]");
  }
  return list + "</ul>\n";
}

std::string DaemonText(const GatewayStatus& status) {
  const DaemonStatus& daemon = status.daemon;
  if (!daemon.known) {
    return "no figures of a daemon";
  }
  return "version " + daemon.version + (daemon.alive ? ", process " : ", not running, was process ") +
         std::to_string(daemon.pid) + ", started " + TimeText(daemon.startedAt) + ", broker " +
         (daemon.connected ? "connected" : "not connected") + ", configuration " + HexText(daemon.digest);
}

}  // namespace

std::string StatusHtml(const StatusView& view) {
  std::string page =
      "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width,initial-scale=1\">\n"
      "<link rel=\"icon\" href=\"data:,\">\n<title>DataCollector</title>\n<style>" +
      std::string(kStyle) + "</style></head>\n<body>\n" +
      Element("h1", "DataCollector, " + TimeText(view.status.takenAt)) +
      Element("p class=dim", DaemonText(view.status)) + VerdictList(view) + "<div class=\"cards\">\n";
  for (const SourceKind kind : kAllKinds) {
    if (view.Shows(kind)) {
      page += Card(view, kind);
    }
  }
  return page + "</div>\n</body></html>\n";
}

}  // namespace datacollector::ctl
