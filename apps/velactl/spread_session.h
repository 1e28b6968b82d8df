#pragma once
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "apps/velactl/mission_signals.h"
#include "apps/velactl/parts_bar.h"
#include "asn1/spread.h"
#include "platform/message/proc_id.h"

namespace velactl {

// One spread mission under way: the request is answered when the owner has begun; then the caller's thread
// shows the progress on standard error and serves the signals until the result comes.
//
//   event                | first                                  | again
//   ---------------------+----------------------------------------+------------------------------
//   SIGINT, SIGTERM      | stops the mission everywhere, waits on | the process ends at once (130)
//   owner is gone        | waits for a result still under way     | gives up
//   nothing moves        | says so after 10 seconds               | after twice the time
//   no sign of the owner | gives up after 120 seconds             |
class SpreadSession {
 public:
  // `request` must outlive the session; MissionSignals::Hold was called before. `quiet`: progress only on a
  // terminal.
  SpreadSession(const AsnSpreadReq& request, CProcID owner, bool quiet);
  ~SpreadSession();
  SpreadSession(const SpreadSession&) = delete;
  SpreadSession& operator=(const SpreadSession&) = delete;

  // The result, or null with `error`.
  std::unique_ptr<AsnSpreadEnd> Run(std::string& error);

 private:
  void Ask();
  void ServeReports();
  void ServeSignals();
  void WatchOwner();
  void WatchProgress();
  // Whether nothing more can come; `error` says why.
  bool IsHopeless(std::string& error);
  void Show(const std::string& bytes) const;

  const AsnSpreadReq& m_request;
  const CProcID m_owner;
  const std::int32_t m_missionID;
  MissionSignals m_signals;
  const bool m_silent;
  PartsBar m_bar;
  std::thread m_asker;
  std::atomic<bool> m_asked{false};
  std::uint32_t m_result = 0;  // valid when m_asked; so is m_answer
  AsnSpreadRsp m_answer;
  std::unique_ptr<AsnSpreadEnd> m_end;
  std::chrono::steady_clock::time_point m_lastSign;  // of the owner: it reports now and then in any case
  std::chrono::steady_clock::time_point m_lastMove;
  int m_patience;    // seconds
  int m_missed = 0;  // looks at the owner in a row that did not find it
};

}  // namespace velactl
