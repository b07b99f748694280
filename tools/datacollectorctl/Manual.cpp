#include "Manual.h"

#include <cstdio>
#include <string>

#include "Findings.h"
#include "Verdicts.h"
#include "ground/Version.h"

namespace datacollector::ctl {
namespace {

std::string OptionWords(const Option& option) {
  std::string name = std::string("--") + option.name;
  if (option.argument == nullptr) {
    return name;
  }
  const std::string argument = option.argument;
  return argument.front() == '[' ? name + "[=" + argument.substr(1) : name + " " + argument;
}

// A text in which nothing is taken for a macro or an escape.
std::string Roff(const std::string& text) {
  std::string escaped = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
  for (const char character : text) {
    escaped += character == '\\' ? "\\e" : character == '-' ? "\\-" : std::string(1, character);
  }
  return escaped;
}

void PrintItem(const std::string& head, const std::string& text) {
  std::printf(".TP\n.B %s\n%s\n", Roff(head).c_str(), Roff(text).c_str());
}

}  // namespace

void PrintHelp(std::span<const Command* const> commands) {
  std::printf("Usage: datacollectorctl COMMAND [OPTION...]\n       datacollectorctl --version | --help\n\n");
  for (const Command* command : commands) {
    std::printf("  %-8s %s\n", command->name, command->summary);
  }
  std::printf("\ndatacollectorctl COMMAND --help tells the options.\n");
}

void PrintCommandHelp(const Command& command) {
  std::printf("Usage: datacollectorctl %s%s%s [OPTION...]\n%s.\n\n", command.name,
              command.operands[0] == '\0' ? "" : " ", command.operands, command.summary);
  for (const Option& option : command.options) {
    std::printf("  %-18s %s\n", OptionWords(option).c_str(), option.help);
  }
  std::printf("\nExit status: %s.\n", command.exitStatus);
}

void PrintManual(std::span<const Command* const> commands) {
  std::printf(
      ".TH DATACOLLECTORCTL 1 \"\" \"DataCollector %s\"\n.SH NAME\ndatacollectorctl \\- look at, check and "
      "repair a gateway\n.SH SYNOPSIS\n",
      kVersion);
  for (const Command* command : commands) {
    std::printf(".B datacollectorctl %s\n%s%s[OPTION...]\n.br\n", command->name,
                Roff(command->operands).c_str(), command->operands[0] == '\0' ? "" : "\n");
  }
  for (const Command* command : commands) {
    std::printf(".SH %s\n%s.\n", command->name, Roff(command->summary).c_str());
    for (const Option& option : command->options) {
      PrintItem(OptionWords(option), option.help);
    }
    std::printf(".PP\nExit status: %s.\n", Roff(command->exitStatus).c_str());
  }
  std::printf(".SH FINDINGS OF CHECK\n");
  for (std::size_t index = 0; index < static_cast<std::size_t>(Code::Count); ++index) {
    const FindingRow& row = RowOf(static_cast<Code>(index));
    PrintItem(row.name,
              std::string(WordOf(row.severity)) + ": " + row.meaning + " Remedy: " + row.remedy + ".");
  }
  std::printf(".SH VERDICTS OF STATUS\n");
  for (const VerdictRow& row : VerdictTable()) {
    PrintItem(row.code,
              std::string(WordOf(row.severity)) + ": " + row.meaning + " Remedy: " + row.remedy + ".");
  }
  std::printf(".SH SEE ALSO\n.BR DataCollector (5),\n.BR DataCollector (8)\n");
}

}  // namespace datacollector::ctl
