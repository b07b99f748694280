// datacollectorctl check

#include <algorithm>
#include <cstdio>

#include "Checks.h"
#include "Command.h"
#include "Output.h"
#include "StatusForms.h"
#include "TryRecord.h"

namespace datacollector::ctl {
namespace {

constexpr std::array<Option, 9> kOptions = {{
    {"root", "DIR", "check the copied gateway below DIR instead of this machine"},
    {"kind", "LIST", "only these kinds: aio,dio,temperature,rs485,rs232,snmp"},
    {"json", nullptr, "print JSON"},
    {"strict", nullptr, "warnings count as errors"},
    {"no-environment", nullptr, "leave out broker, script, rotation, WAN file and clock"},
    {"show-effective", nullptr, "print every number that is read, as the daemon stores it"},
    {"try", "KIND", "show how the daemon would store the record in PAYLOAD, and nothing else"},
    {"deep", nullptr, "check every page of every database, whatever its size"},
    {"help", nullptr, "print this text"},
}};

std::string PlaceOf(const Finding& finding) {
  return finding.line == 0 ? finding.file : finding.file + ':' + std::to_string(finding.line);
}

std::string TextOf(const Findings& findings) {
  std::string text;
  for (const Finding& finding : findings.All()) {
    const FindingRow& row = RowOf(finding.code);
    text += std::string(WordOf(row.severity)) + " " + PlaceOf(finding) + ": " + finding.text + " [" +
            row.name + "]\n  remedy: " + row.remedy + "\n";
  }
  return text.empty() ? "Nothing found.\n" : text;
}

std::string JsonOf(const Findings& findings) {
  std::string out = "{\"findings\":[";
  for (const Finding& finding : findings.All()) {
    const FindingRow& row = RowOf(finding.code);
    out += out.back() == '[' ? "{" : ",{";
    const auto member = [&](const char* name, const std::string& value) {
      AppendJson(out, name);
      out += ':';
      AppendJson(out, value);
      out += ',';
    };
    member("severity", WordOf(row.severity));
    member("code", row.name);
    member("file", finding.file);
    member("text", finding.text);
    member("remedy", row.remedy);
    out += "\"line\":" + std::to_string(finding.line) + "}";
  }
  return out + "]}\n";
}

std::string EffectiveOf(const ConfigSurvey& survey) {
  std::string text;
  for (const SurveyedFile& file : survey.files) {
    for (const WantedKey& key : file.wanted) {
      const PresentKey* present = file.Present(key.name);
      if (key.forEnabled && key.stored) {
        text += file.path + ": " + key.name + " = " + std::to_string(key.storedValue) + "\n";
      } else if (key.forEnabled && key.text && present != nullptr && present->text) {
        text += file.path + ": " + key.name + " = \"" + present->words + "\"\n";
      }
    }
  }
  return text;
}

int ShowTry(GatewayTree& tree, SourceKind kind, const std::string& payload) {
  const TriedRecord tried = TryRecord(*tree.main, kind, payload);
  std::string text;
  for (std::size_t index = 0; index < std::max(tried.fields.size(), tried.columns.size()); ++index) {
    text += (index < tried.columns.size() ? tried.columns[index] : std::string("(no column)")) + " = " +
            (index < tried.fields.size() ? tried.fields[index] : std::string("(no field)")) + "\n";
  }
  text += tried.refusal.empty() ? "would be stored\n" : "would be refused: " + tried.refusal + "\n";
  return WriteOut(text, "") ? (tried.refusal.empty() ? 0 : 2) : kExitCannot;
}

int Report(const Arguments& arguments, const Findings& findings, const ConfigSurvey& survey) {
  const std::string effective = arguments.Has("show-effective") ? EffectiveOf(survey) : "";
  if (!WriteOut(arguments.Has("json") ? JsonOf(findings) : effective + TextOf(findings), "")) {
    return kExitCannot;
  }
  if (findings.All().empty()) {
    return 0;
  }
  return arguments.Has("strict") || findings.Worst() == Severity::Error ? 2 : 1;
}

int RunCheck(const Arguments& arguments) {
  const auto kinds = KindsOf(arguments.Value("kind"));
  const std::optional<std::string> root = RootOf(arguments);
  const bool tries = arguments.Has("try");
  if (!kinds || !root || arguments.Rest().size() != (tries ? 1U : 0U)) {
    return kExitUsage;
  }
  GatewayTree tree;
  const ConfigSurvey survey = SurveyConfiguration(*root, tree);
  if (tries) {
    const std::optional<SourceKind> kind = KindOf(arguments.Value("try"));
    return kind ? ShowTry(tree, *kind, arguments.Rest().front()) : kExitUsage;
  }
  const CheckInput input{tree, survey, *kinds, arguments.Has("deep")};
  Findings findings;
  CheckFiles(input, findings);
  CheckSettings(input, findings);
  CheckTopics(input, findings);
  CheckTables(input, findings);
  if (!arguments.Has("no-environment")) {
    CheckEnvironment(input, findings);
  }
  return Report(arguments, findings, survey);
}

}  // namespace

const Command kCheckCommand = {
    "check",
    "[--try KIND PAYLOAD]",
    "everything that can be known before a start",
    kOptions,
    "0 clean, 1 warnings, 2 errors (--try: would be refused), 64 wrong usage, 70 could not check",
    RunCheck};

}  // namespace datacollector::ctl
