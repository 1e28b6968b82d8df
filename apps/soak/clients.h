#pragma once
#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

namespace soak {

// What clients counted. A request is answered by its receiver, be it with a refusal; all else is a fault.
struct Tally {
  std::atomic<std::uint64_t> sent{0};
  std::atomic<std::uint64_t> answered{0};
  std::atomic<std::uint64_t> missions{0};   // of the answered ones: uploads and resets,
  std::atomic<std::uint64_t> refused{0};    // of these, because another one had the NEs
  std::atomic<std::uint64_t> cancelled{0};  // or cancelled
};

// Clients that ask for something, wait for the answer and ask for something else, each in a thread: uploads
// and resets of a few NEs, some of them cancelled soon after, status, lists, reloads, and requests that are
// none.
class Clients {
 public:
  Clients(unsigned count, Tally& tally);
  ~Clients();
  Clients(const Clients&) = delete;
  Clients& operator=(const Clients&) = delete;

  // No new requests; returns when all have their answers.
  void Stop();

 private:
  std::atomic<bool> m_stop{false};
  std::vector<std::thread> m_threads;
};

}  // namespace soak
