#pragma once
#include <string>
#include <vector>

namespace velactl {

// velactl nes ...: the exit code, 1 also when the topology service does not know one of the NEs.
int NEsCommand(char* argv0, const std::vector<std::string>& arguments);

}  // namespace velactl
