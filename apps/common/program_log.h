#pragma once
#include <string>

namespace apps {

// Starts the logging of a program, in `folder` or (empty) where the library puts it, with nothing on the
// terminal. `config`: the file named by -f, or empty. False when the library refuses.
bool StartLog(char* argv0, const std::string& config, const std::string& folder);

}  // namespace apps
