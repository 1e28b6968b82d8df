#pragma once
#include <atomic>
#include <cstdint>

namespace velactl {

// What the topology service has told all clients since this one was started. Thread-safe.
struct TopChanges {
  static TopChanges& Instance();

  std::atomic<std::uint64_t> broadcasts{0};
  std::atomic<std::uint64_t> nes{0};
};

}  // namespace velactl
