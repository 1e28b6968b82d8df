#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "platform/message/proc_id.h"

namespace soak {

// What a server process says of itself.
struct Facts {
  CProcID process;
  bool answered = false;
  std::int64_t memory = 0;  // resident, KiB
  std::int64_t descriptors = 0;
  std::int64_t threads = 0;
  std::int64_t busy = 0;      // queued and running requests, locks, error frames, missions
  std::int64_t produced = 0;  // log records
  std::int64_t written = 0;
  std::int64_t dropped = 0;
};

// Asks each of them, in this order, when nothing is under way any more: waits until they are idle, at most
// `seconds`.
std::vector<Facts> TakeCensus(const std::vector<CProcID>& processes, int seconds);

}  // namespace soak
