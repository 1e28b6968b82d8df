#pragma once
#include <string>
#include <vector>

namespace velactl {

// velactl top ...: the exit code.
int TopCommand(char* argv0, const std::vector<std::string>& arguments);

}  // namespace velactl
