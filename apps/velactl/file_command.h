#pragma once
#include <string>
#include <vector>

namespace velactl {

// velactl file: files of a server process. 0; 2: refused, or there is no such file; 1: anything else; 130:
// interrupted.
int FileCommand(char* argv0, const std::vector<std::string>& arguments);

}  // namespace velactl
