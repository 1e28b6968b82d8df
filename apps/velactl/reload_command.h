#pragma once
#include <string>
#include <vector>

namespace velactl {

// velactl reload ...: the exit code.
int ReloadCommand(char* argv0, const std::vector<std::string>& arguments);

}  // namespace velactl
