#pragma once
#include "apps/velad/server_config.h"

namespace velad {

// Holds back the signals that end the process, in this thread and those that it makes: Serve waits for them.
void HoldEndSignals();

// Runs the server until it is told to end; the exit code. `argv0` and `name` (of -f) are those of the command
// line.
int Serve(const ServerConfig& config, char* argv0, const std::string& name);

}  // namespace velad
