#pragma once
#include "apps/velad/server_config.h"

namespace velad {

// Task managers of every server process. Missions run in the first; the second serves what must not wait
// behind them: aborts, the progress timer, the log's flush.
constexpr unsigned char kMainTaskMgr = 1;
constexpr unsigned char kServiceTaskMgr = 2;

// Holds back the signals that end the process, in this thread and those that it makes: Serve waits for them.
void HoldEndSignals();

// Runs the server until it is told to end; the exit code. `argv0` and `name` (of -f) are those of the command
// line.
int Serve(const ServerConfig& config, char* argv0, const std::string& name);

}  // namespace velad
