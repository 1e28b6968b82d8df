#pragma once
#include <pthread.h>

#include <cstdint>

#include "platform/os/os_types.h"

namespace vela::log {

// The thread's id in log lines: what ACE_Thread::self gives, cut to 32 bits, so that the lines of the
// library's dumps and those of the log name a thread alike.
inline std::uint32_t ThreadId() {
  return Cut32(::pthread_self());
}

}  // namespace vela::log
