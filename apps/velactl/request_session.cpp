#include "apps/velactl/request_session.h"

#include <utility>

#include "apps/common/texts.h"
#include "apps/velactl/asker.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/inbox.h"
#include "apps/velactl/process_query.h"
#include "apps/velactl/served_signals.h"
#include "apps/velactl/terminal.h"
#include "platform/asncmd/asn_cmd.h"
#include "platform/os/vela_os.h"

namespace velactl {
namespace {

constexpr int kSilenceSeconds = 120;  // without any sign of the server

}  // namespace

std::int32_t NewMissionID() {
  return static_cast<std::int32_t>((VelaGetTickCount() & 0x3FFFFFFF) + 1);
}

std::string AskServer(char* argv0, const ServerChoice& choice, const MissionRequest& request,
                      SNACC::AsnType& response) {
  HoldSignals();
  ClientProcess process;
  std::string error;
  const auto server = Reach(process, argv0, choice, error);
  if (!server) return error;
  RequestSession session(request, *server);
  const std::uint32_t result = session.Run(response);
  if (session.ServerGone() && result != 0) return apps::Text("SERVER_ENDED", {AddressText(*server)});
  return result != 0 ? WhyFailed(result, *server) : std::string();
}

RequestSession::RequestSession(const MissionRequest& request, CProcID server)
    : m_request(request),
      m_server(server),
      m_signals(request.missionID, server),
      m_life(server),
      m_silent(request.quiet && SizeOfTerminal().columns == 0),
      m_bar(SizeOfTerminal().columns) {}

std::uint32_t RequestSession::Run(SNACC::AsnType& response) {
  Show(m_bar.Update(0, m_request.sending));
  const Asker asker(m_request.command, m_request.message, m_server, kSilenceSeconds, response);
  const auto show = [this](const std::string& bytes) { Show(bytes); };
  while (!asker.Done()) {
    m_life.Wait(m_signals.Descriptor());
    if (m_life.IsGone() && !std::exchange(m_gone, true)) CAsnCmd::Destroy();
    ServeReports();
    m_signals.Serve(m_bar, show);
  }
  ServeReports();
  m_signals.ServeRefusal(m_bar, show);
  Show(m_bar.Finish(asker.Result() == 0 && m_request.complete()));
  return asker.Result();
}

void RequestSession::ServeReports() {
  for (const ProgressReport& report : Inbox::Instance().Take()) {
    if (report.missionID != m_request.missionID || report.from != m_server) continue;
    if (m_requestSn == 0) m_requestSn = report.sn;
    CAsnCmd::ResetTimeout(m_requestSn, m_server, kSilenceSeconds, 0);
    Show(m_bar.Update(report.percent, report.step));
  }
}

void RequestSession::Show(const std::string& bytes) const {
  if (!m_silent) WriteToTerminal(bytes);
}

}  // namespace velactl
