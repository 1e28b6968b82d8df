#pragma once
#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "apps/velactl/progress_bar.h"
#include "asn1/audit.h"
#include "platform/message/proc_id.h"

namespace velactl {

// One audit under way: the request is sent and awaited in a thread of its own, while the caller's thread
// shows the progress on standard error and serves the signals.
//
//   event            | first                               | again
//   -----------------+-------------------------------------+------------------------------
//   SIGINT, SIGTERM  | cancels the mission, waits on       | the process ends at once (130)
//   server is gone   | waits for an answer still under way | gives up
class AuditSession {
 public:
  // `request` must outlive the session. `quiet`: progress only on a terminal.
  AuditSession(const AsnAuditReq& request, CProcID server, bool quiet);
  ~AuditSession();
  AuditSession(const AuditSession&) = delete;
  AuditSession& operator=(const AuditSession&) = delete;

  // Blocks the signals that Run serves; before any thread is made.
  static void HoldSignals();

  // 0 and the answer in `response`, or the code of a failure.
  std::uint32_t Run(AsnAuditRsp& response);
  bool ServerGone() const { return m_gone; }

 private:
  void Ask(AsnAuditRsp& response);
  void Abort();
  void ServeReports();
  void ServeSignals();
  void WatchServer();
  void Show(const std::string& bytes) const;

  const AsnAuditReq& m_request;
  const CProcID m_server;
  const std::int32_t m_missionID;
  const int m_signals;
  const bool m_silent;
  ProgressBar m_bar;
  std::thread m_asker;
  std::thread m_aborter;
  std::atomic<bool> m_done{false};
  std::atomic<std::uint32_t> m_abortResult{0};
  std::atomic<bool> m_abortDone{false};
  std::uint32_t m_result = 0;     // valid when m_done
  std::uint32_t m_requestSn = 0;  // learnt from the first report
  bool m_aborting = false;
  bool m_gone = false;
  int m_missed = 0;  // looks at the server in a row that did not find it
};

}  // namespace velactl
