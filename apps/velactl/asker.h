#pragma once
#include <atomic>
#include <cstdint>
#include <thread>

#include "platform/message/proc_id.h"

namespace SNACC {
class AsnType;
}

namespace velactl {

// A request that is sent and awaited in a thread of its own, while the caller's thread watches: the Inbox is
// woken when it is done. CAsnCmd::Destroy ends the wait.
class Asker {
 public:
  // `request` and `response` must outlive it; `seconds` is how long the answer may take.
  Asker(std::uint32_t command, const SNACC::AsnType& request, CProcID server, int seconds,
        SNACC::AsnType& response);
  ~Asker() { m_thread.join(); }
  Asker(const Asker&) = delete;
  Asker& operator=(const Asker&) = delete;

  bool Done() const { return m_done.load(std::memory_order_acquire); }
  // Once done: 0 with the answer in the response, or the code of a failure.
  std::uint32_t Result() const { return m_result; }

 private:
  std::atomic<bool> m_done{false};
  std::uint32_t m_result = 0;
  std::thread m_thread;
};

}  // namespace velactl
