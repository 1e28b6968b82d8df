#pragma once
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "apps/velactl/terminal.h"
#include "platform/message/proc_id.h"

namespace velactl {

// Serves kWaitSignals, which are held (HoldSignals), while a client waits for a mission. The first SIGINT or
// SIGTERM cancels the mission at its server, in a thread of its own; one that comes after it means to leave
// at once.
class MissionSignals {
 public:
  MissionSignals(std::int32_t missionID, CProcID server);
  ~MissionSignals();  // waits for the server's answer to a cancelling
  MissionSignals(const MissionSignals&) = delete;
  MissionSignals& operator=(const MissionSignals&) = delete;

  int Descriptor() const { return m_descriptor; }  // readable when there is one
  // Serves what has come, and says on the bar what becomes of the mission; `show` takes the bytes to write.
  // The Inbox is woken when there is more to say. Does not return when the process is to leave at once.
  template <class Bar, class Show>
  void Serve(Bar& bar, const Show& show) {
    for (Event event = Next(); event != Event::none; event = Next()) {
      if (event == Event::resized) bar.SetSize(SizeOfTerminal());
      if (event == Event::cancelling) show(bar.Note(Cancelling()));
      if (event != Event::leave) continue;
      show(bar.Finish(false));
      show(Left());
      _exit(130);
    }
    ServeRefusal(bar, show);
  }
  // Says only that the server has refused to cancel, if it has: when nothing else is to be served any more.
  template <class Bar, class Show>
  void ServeRefusal(Bar& bar, const Show& show) {
    if (m_refused.exchange(false, std::memory_order_acquire)) show(bar.Note(Refused()));
  }

 private:
  enum class Event { none, resized, cancelling, leave };

  Event Next();
  void Cancel();
  static std::string Cancelling();
  static std::string Refused();
  static std::string Left();

  const std::int32_t m_missionID;
  const CProcID m_server;
  const int m_descriptor;
  std::thread m_canceller;
  std::atomic<bool> m_refused{false};
  bool m_cancelling = false;
};

}  // namespace velactl
