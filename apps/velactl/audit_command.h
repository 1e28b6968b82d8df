#pragma once
#include <string>
#include <vector>

namespace velactl {

// velactl audit ...: the exit code.
int AuditCommand(char* argv0, const std::vector<std::string>& arguments);

}  // namespace velactl
