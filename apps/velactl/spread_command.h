#pragma once
#include <string>
#include <vector>

namespace velactl {

// velactl spread ..., velactl missions ...: the exit code.
int SpreadCommand(char* argv0, const std::vector<std::string>& arguments);
int MissionsCommand(char* argv0, const std::vector<std::string>& arguments);

}  // namespace velactl
