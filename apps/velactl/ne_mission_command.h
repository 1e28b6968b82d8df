#pragma once
#include <string>
#include <vector>

namespace velactl {

// velactl upload ..., velactl reset ...: the exit code.
int UploadCommand(char* argv0, const std::vector<std::string>& arguments);
int ResetCommand(char* argv0, const std::vector<std::string>& arguments);

}  // namespace velactl
