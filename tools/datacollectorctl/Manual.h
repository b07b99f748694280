// Help texts and the manual page, made from the tables of the commands.
#pragma once

#include <span>

#include "Command.h"

namespace datacollector::ctl {

void PrintHelp(std::span<const Command* const> commands);
void PrintCommandHelp(const Command& command);

// datacollectorctl.1, in man macros.
void PrintManual(std::span<const Command* const> commands);

}  // namespace datacollector::ctl
