// What the program answers to whoever starts it by hand.
#pragma once

namespace datacollector {

// Prints the version or the usage where exactly that is asked for. Returns false for every other command
// line, which the daemon doesn't look at.
bool AnswerCommandLine(int argc, const char* const* argv);

}  // namespace datacollector
