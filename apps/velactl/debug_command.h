#pragma once
#include <string>
#include <vector>

namespace velactl {

// "velactl debug ...": a command, or an operator's console, at a server process; the exit code. `arguments`
// follow the word.
int DebugCommand(char* argv0, const std::vector<std::string>& arguments);

}  // namespace velactl
