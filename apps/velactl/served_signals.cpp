#include "apps/velactl/served_signals.h"

#include <sys/signalfd.h>

namespace velactl {
namespace {

sigset_t SetOf(std::span<const int> signals) {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : signals) sigaddset(&set, signal);
  return set;
}

}  // namespace

void HoldSignals(std::span<const int> signals) {
  const sigset_t set = SetOf(signals);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

int SignalDescriptor(std::span<const int> signals) {
  const sigset_t set = SetOf(signals);
  return signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

}  // namespace velactl
