// The status for programs: JSON and OpenMetrics.

#include <array>
#include <cstdio>

#include "StatusForms.h"
#include "ground/KindShape.h"
#include "ground/Version.h"

namespace datacollector::ctl {
namespace {

// Members of an object, separated by commas.
class Members {
 public:
  explicit Members(std::string& out) : out_(out) { out_ += '{'; }
  ~Members() { out_ += '}'; }
  Members(const Members&) = delete;
  Members(Members&&) = delete;
  Members& operator=(const Members&) = delete;
  Members& operator=(Members&&) = delete;

  std::string& Name(const char* name) {
    out_ += first_ ? "" : ",";
    first_ = false;
    AppendJson(out_, name);
    return out_ += ':';
  }
  void Text(const char* name, const std::string& text) { AppendJson(Name(name), text); }
  void Value(const char* name, const Number& number) {
    Name(name) += number ? std::to_string(*number) : "null";
  }
  void Truth(const char* name, bool value) { Name(name) += value ? "true" : "false"; }

 private:
  std::string& out_;
  bool first_ = true;
};

void AppendDaemon(std::string& out, const DaemonStatus& daemon) {
  Members members(out);
  members.Truth("running", daemon.alive);
  members.Truth("figures", daemon.known);
  if (daemon.known) {
    members.Text("version", daemon.version);
    members.Value("pid", daemon.pid);
    members.Value("started_timestamp_seconds", daemon.startedAt);
    members.Text("configuration", HexText(daemon.digest));
    members.Truth("broker_connected", daemon.connected);
    members.Truth("gate_open", daemon.gateOpen);
  }
  members.Value("resident_memory_bytes", daemon.memoryBytes);
}

void AppendKind(std::string& out, const KindStatus& kind) {
  Members members(out);
  members.Text("database", kind.database);
  members.Text("problem", kind.problem);
  for (const FigureRow& figure : kFigures) {
    members.Value(figure.name, kind.*figure.value);
  }
}

void AppendVerdict(std::string& out, const Verdict& verdict) {
  Members members(out);
  members.Text("severity", WordOf(verdict.severity));
  members.Text("code", verdict.code);
  members.Text("subject", verdict.subject);
  members.Text("reason", verdict.reason);
  members.Text("remedy", verdict.remedy);
}

void AppendFamily(std::string& out, const std::string& name, const char* type, const char* help) {
  out += "# TYPE " + name + " " + type + "\n# HELP " + name + " " + help + "\n";
}

void AppendGauge(std::string& out, const char* name, const char* help, std::int64_t value) {
  const std::string full = std::string("datacollector_") + name;
  AppendFamily(out, full, "gauge", help);
  out += full + " " + std::to_string(value) + "\n";
}

void AppendFigure(std::string& out, const FigureRow& figure, const StatusView& view) {
  const std::string name = std::string("datacollector_") + figure.name;
  AppendFamily(out, name, figure.counter ? "counter" : "gauge", figure.help);
  for (const SourceKind kind : kAllKinds) {
    const Number& number = view.status.kinds[kind].*figure.value;
    if (view.Shows(kind) && number) {
      out += name + (figure.counter ? "_total" : "") + "{kind=\"" + kKindIndexWord[kind] + "\"} " +
             std::to_string(*number) + "\n";
    }
  }
}

}  // namespace

void AppendJson(std::string& out, const std::string& text) {
  out += '"';
  for (const char character : text) {
    const auto value = static_cast<unsigned char>(character);
    if (character == '"' || character == '\\') {
      out += {'\\', character};
    } else if (value < 0x20 || value >= 0x7f) {
      std::array<char, 8> escape{};  // a byte of a file that need not be a character of any encoding
      std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(value));
      out += escape.data();
    } else {
      out += character;
    }
  }
  out += '"';
}

std::string StatusJson(const StatusView& view) {
  std::string out;
  {
    Members members(out);
    members.Value("taken_timestamp_seconds", view.status.takenAt);
    members.Text("configuration", HexText(view.status.digest));
    members.Name("wan_up") += view.status.wanUp ? (*view.status.wanUp ? "true" : "false") : "null";
    AppendDaemon(members.Name("daemon"), view.status.daemon);
    members.Name("kinds");
    {
      Members kinds(out);
      for (const SourceKind kind : kAllKinds) {
        if (view.Shows(kind)) {
          AppendKind(kinds.Name(kKindIndexWord[kind]), view.status.kinds[kind]);
        }
      }
    }
    members.Name("verdicts") += '[';
    for (std::size_t index = 0; index < view.verdicts.size(); ++index) {
      out += index == 0 ? "" : ",";
      AppendVerdict(out, view.verdicts[index]);
    }
    out += ']';
  }
  return out + "\n";
}

std::string StatusMetrics(const StatusView& view) {
  const DaemonStatus& daemon = view.status.daemon;
  std::string out;
  AppendFamily(out, "datacollector_build", "info", "The running daemon's release and configuration.");
  out += "datacollector_build_info{version=\"" + daemon.version + "\",configuration=\"" +
         HexText(daemon.digest) + "\"} 1\n";
  AppendGauge(out, "up", "1: the daemon runs.", daemon.alive ? 1 : 0);
  if (daemon.known) {
    AppendGauge(out, "start_timestamp_seconds", "When the daemon was started.", daemon.startedAt);
    AppendGauge(out, "broker_connected", "1: the broker's connection stands.", daemon.connected ? 1 : 0);
  }
  if (daemon.memoryBytes) {
    AppendGauge(out, "resident_memory_bytes", "Memory of the daemon.", *daemon.memoryBytes);
  }
  if (view.status.wanUp) {
    AppendGauge(out, "wan_up", "1: the WAN is up.", *view.status.wanUp ? 1 : 0);
  }
  for (const FigureRow& figure : kFigures) {
    AppendFigure(out, figure, view);
  }
  return out + "# EOF\n";
}

}  // namespace datacollector::ctl
