#pragma once
#include <chrono>
#include <cstdint>
#include <string>

#include "apps/velactl/mission_signals.h"
#include "apps/velactl/parts_bar.h"
#include "apps/velactl/server_watch.h"
#include "platform/message/proc_id.h"

namespace velactl {

// What a client does while it waits for a mission of several processes: shows its progress and that of the
// parts on standard error, with the time left on a terminal, and serves the signals. For one thread.
//
//   event                 | first                                  | again
//   ----------------------+----------------------------------------+------------------------------
//   SIGINT, SIGTERM       | stops the mission everywhere, waits on | the process ends at once (130)
//   nothing moves         | says so after 10 seconds               | after twice the time
//   server is gone        | looks again, then it is hopeless       |
//   no sign of the server | hopeless after 120 seconds             |
class MissionWatch {
 public:
  // HoldSignals was called before. `quiet`: progress only on a terminal.
  MissionWatch(std::int32_t missionID, CProcID server, bool quiet);

  // Serves what came; waits a moment for it, or for Inbox::Wake.
  void Turn();
  // Why nothing more can come; empty while something may.
  std::string WhyHopeless() const;
  // Ends the bar, at 100 when `complete`.
  void Finish(bool complete);

 private:
  void ServeReports();
  void ShowStillness();
  // Shows what an update of the bar gave.
  void Advance(int percent, const std::string& bytes);
  void Show(const std::string& bytes) const;

  const std::int32_t m_missionID;
  const CProcID m_server;
  MissionSignals m_signals;
  ServerWatch m_life;
  const bool m_terminal;
  const bool m_silent;
  PartsBar m_bar;
  const std::chrono::steady_clock::time_point m_begin;
  std::chrono::steady_clock::time_point m_lastSign;  // of the server: it reports now and then in any case
  std::chrono::steady_clock::time_point m_lastMove;
  int m_patience;  // seconds
};

// How long the rest takes if it goes on like this: "12 s", "3 min"; empty when that cannot be told yet.
std::string TimeLeft(int percent, std::chrono::steady_clock::duration spent);

}  // namespace velactl
