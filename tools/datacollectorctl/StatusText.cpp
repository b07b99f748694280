// The status for people in front of a terminal.

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <ctime>

#include "StatusForms.h"
#include "ground/KindShape.h"
#include "ground/Version.h"

namespace datacollector::ctl {
namespace {

std::string OrDash(const Number& number) { return number ? std::to_string(*number) : "-"; }

std::string Ago(const Number& moment, std::int64_t now) { return moment ? SpanText(now - *moment) : "-"; }

std::string Bytes(const Number& bytes) {
  return !bytes           ? "-"
         : *bytes < 10240 ? std::to_string(*bytes) + " B"
                          : std::to_string(*bytes / 1024) + " kB";
}

// A column of the kinds' table.
struct Column {
  const char* head;
  std::string (*cell)(const KindStatus&, std::int64_t now);
};

constexpr std::array<Column, 9> kColumns = {{
    {"unsent", [](const KindStatus& kind, std::int64_t) { return OrDash(kind.unsent); }},
    {"oldest", [](const KindStatus& kind, std::int64_t now) { return Ago(kind.oldestUnsentAt, now); }},
    {"rows/limit",
     [](const KindStatus& kind, std::int64_t) { return OrDash(kind.rows) + "/" + OrDash(kind.limit); }},
    {"number", [](const KindStatus& kind, std::int64_t) { return OrDash(kind.newest); }},
    {"stored", [](const KindStatus& kind, std::int64_t now) { return Ago(kind.newestAt, now); }},
    {"sent", [](const KindStatus& kind, std::int64_t now) { return Ago(kind.confirmedAt, now); }},
    {"evicted", [](const KindStatus& kind, std::int64_t) { return OrDash(kind.evictedEver); }},
    {"refused", [](const KindStatus& kind, std::int64_t) { return OrDash(kind.refused); }},
    {"loss in",
     [](const KindStatus& kind, std::int64_t) { return kind.lossIn ? SpanText(*kind.lossIn) : "-"; }},
}};

constexpr std::size_t kNameWidth = 11;

std::string Right(const std::string& text, std::size_t width) {
  return text.size() >= width ? text : std::string(width - text.size(), ' ') + text;
}

std::string Left(const std::string& text, std::size_t width) {
  return text.size() >= width ? text : text + std::string(width - text.size(), ' ');
}

// As many columns as the width has room for, in their order.
std::string KindTable(const StatusView& view, std::size_t width) {
  std::string head = Left("kind", kNameWidth);
  std::array<std::string, kSourceKinds> lines;
  for (const SourceKind kind : kAllKinds) {
    lines[kind] = Left(kKindIndexWord[kind], kNameWidth);
  }
  for (const Column& column : kColumns) {
    std::size_t cells = std::string(column.head).size();
    for (const SourceKind kind : kAllKinds) {
      if (view.Shows(kind)) {
        cells = std::max(cells, column.cell(view.status.kinds[kind], view.status.takenAt).size());
      }
    }
    if (head.size() + cells + 2 > width) {
      break;
    }
    head += "  " + Right(column.head, cells);
    for (const SourceKind kind : kAllKinds) {
      lines[kind] += "  " + Right(column.cell(view.status.kinds[kind], view.status.takenAt), cells);
    }
  }
  std::string table = head + "\n";
  for (const SourceKind kind : kAllKinds) {
    if (view.Shows(kind)) {
      table += lines[kind] + "\n";
    }
  }
  return table;
}

// A text in lines of at most `width` characters, all but the first moved in.
std::string Wrapped(const std::string& text, std::size_t width) {
  std::string lines;
  std::string line;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find(' ', start), text.size());
    const std::string word = text.substr(start, end - start);
    if (line.size() + word.size() + 1 > width && !line.empty()) {
      lines += line + "\n";
      line = "  ";
    }
    line += (line.empty() || line == "  " ? "" : " ") + word;
    start = end + 1;
  }
  return lines + line + "\n";
}

std::string DaemonLine(const StatusView& view) {
  const DaemonStatus& daemon = view.status.daemon;
  if (!daemon.known) {
    return daemon.alive ? "runs" : "no figures";
  }
  std::string text = daemon.version + ", process " + std::to_string(daemon.pid);
  if (!daemon.alive) {
    return text + ", started " + TimeText(daemon.startedAt) + ", not running";
  }
  return text + ", up " + SpanText(view.status.takenAt - daemon.startedAt) + ", " +
         Bytes(daemon.memoryBytes) + ", configuration " + HexText(daemon.digest);
}

std::string WanWord(const GatewayStatus& status) {
  return status.lan ? "not needed" : !status.wanUp ? "unknown" : *status.wanUp ? "up" : "down";
}

}  // namespace

std::string HexText(std::uint64_t value) {
  std::array<char, 17> text{};
  std::snprintf(text.data(), text.size(), "%016" PRIx64, value);
  return text.data();
}

std::string TimeText(std::int64_t moment) {
  const auto seconds = static_cast<std::time_t>(moment);
  std::tm parts{};
  ::localtime_r(&seconds, &parts);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
  return text.data();
}

std::string StatusText(const StatusView& view, std::size_t width) {
  const GatewayStatus& status = view.status;
  std::string text = Wrapped("DataCollector  " + DaemonLine(view), width);
  text += Wrapped("WAN " + WanWord(status) + ", broker " +
                      (!status.daemon.alive || !status.daemon.known ? "unknown"
                       : status.daemon.connected                    ? "connected"
                                                                    : "down") +
                      ", " + TimeText(status.takenAt),
                  width) +
          "\n";
  text += KindTable(view, width) + "\n";
  if (view.verdicts.empty()) {
    return text + "Nothing to report.\n";
  }
  for (const Verdict& verdict : view.verdicts) {
    text += Wrapped(std::string(WordOf(verdict.severity)) + " " + verdict.subject + ": " + verdict.reason +
                        " [" + verdict.code + "]; " + verdict.remedy,
                    width);
  }
  return text;
}

}  // namespace datacollector::ctl
