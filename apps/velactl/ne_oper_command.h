#pragma once
#include <string>
#include <vector>

namespace velactl {

// velactl configure ..., velactl inspect ...: the exit code.
int ConfigureCommand(char* argv0, const std::vector<std::string>& arguments);
int InspectCommand(char* argv0, const std::vector<std::string>& arguments);

}  // namespace velactl
