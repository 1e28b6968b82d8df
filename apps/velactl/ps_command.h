#pragma once
#include <string>
#include <vector>

namespace velactl {

// "velactl ps ...": lists the running server processes; the exit code. `arguments` follow the word.
int PsCommand(char* argv0, const std::vector<std::string>& arguments);

}  // namespace velactl
