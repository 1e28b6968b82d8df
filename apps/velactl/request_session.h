#pragma once
#include <cstdint>
#include <functional>
#include <string>

#include "apps/velactl/mission_signals.h"
#include "apps/velactl/progress_bar.h"
#include "apps/velactl/server_watch.h"
#include "platform/message/proc_id.h"

namespace SNACC {
class AsnType;
}

namespace velactl {

struct ServerChoice;

// A request that is a mission of this client: it reports progress and can be cancelled.
struct MissionRequest {
  std::uint32_t command;
  const SNACC::AsnType& message;
  std::int32_t missionID;
  std::string sending;             // the first step that is shown
  std::function<bool()> complete;  // asked with the answer there: whether all of it was done
  bool quiet = false;              // progress only on a terminal
};

// A number for the missions of this client, above 0.
std::int32_t NewMissionID();

// Sends the request as a process of its own (ClientProcess) and waits for the answer. Empty, or why there is
// none.
std::string AskServer(char* argv0, const ServerChoice& choice, const MissionRequest& request,
                      SNACC::AsnType& response);

// One request under way: while an Asker awaits the answer, the caller's thread shows the progress on standard
// error and serves the signals.
//
//   event            | first                               | again
//   -----------------+-------------------------------------+------------------------------
//   SIGINT, SIGTERM  | cancels the mission, waits on       | the process ends at once (130)
//   server is gone   | waits for an answer still under way | gives up
class RequestSession {
 public:
  // `request` must outlive the session. HoldSignals was called before.
  RequestSession(const MissionRequest& request, CProcID server);

  // 0 and the answer in `response`, or the code of a failure.
  std::uint32_t Run(SNACC::AsnType& response);
  bool ServerGone() const { return m_gone; }

 private:
  void ServeReports();
  void Show(const std::string& bytes) const;

  const MissionRequest& m_request;
  const CProcID m_server;
  MissionSignals m_signals;
  ServerWatch m_life;
  const bool m_silent;
  ProgressBar m_bar;
  std::uint32_t m_requestSn = 0;  // learnt from the first report
  bool m_gone = false;
};

}  // namespace velactl
