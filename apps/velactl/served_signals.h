#pragma once
#include <signal.h>

#include <span>

// Signals that a command reads from a descriptor instead of being ended by them.
namespace velactl {

// What a command serves while it waits for a server.
inline constexpr int kWaitSignals[] = {SIGINT, SIGTERM, SIGWINCH};

// Blocks them; before any thread is made.
void HoldSignals(std::span<const int> signals = kWaitSignals);
// Readable, without waiting, when one of them has come; the caller closes it.
int SignalDescriptor(std::span<const int> signals = kWaitSignals);

}  // namespace velactl
