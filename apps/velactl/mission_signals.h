#pragma once
#include <atomic>
#include <cstdint>
#include <thread>

#include "platform/message/proc_id.h"

namespace velactl {

// Serves kWaitSignals, which are held (HoldSignals), while a client waits for a mission. The first SIGINT or
// SIGTERM cancels the mission at its server, in a thread of its own; one that comes after it means to leave
// at once.
class MissionSignals {
 public:
  enum class Event { none, resized, cancelling, leave };

  MissionSignals(std::int32_t missionID, CProcID server);
  ~MissionSignals();  // waits for the server's answer to a cancelling
  MissionSignals(const MissionSignals&) = delete;
  MissionSignals& operator=(const MissionSignals&) = delete;

  int Descriptor() const { return m_descriptor; }  // readable when there is one
  Event Next();
  // True once after the server refused to cancel; the inbox is woken for it.
  bool TakeRefusal() { return m_refused.exchange(false, std::memory_order_acquire); }

 private:
  void Cancel();

  const std::int32_t m_missionID;
  const CProcID m_server;
  const int m_descriptor;
  std::thread m_canceller;
  std::atomic<bool> m_refused{false};
  bool m_cancelling = false;
};

}  // namespace velactl
