#include "apps/velactl/mission_signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include "apps/common/texts.h"
#include "apps/velactl/inbox.h"
#include "apps/velactl/served_signals.h"
#include "asn1/progress.h"
#include "platform/asncmd/asn_cmd.h"
#include "platform/task/vela_task.h"

namespace velactl {
namespace {

constexpr std::uint32_t kAbortCommand = 0x208001;
constexpr int kAbortScopeAll = 255;
constexpr int kAbortSeconds = 10;

}  // namespace

MissionSignals::MissionSignals(std::int32_t missionID, CProcID server)
    : m_missionID(missionID), m_server(server), m_descriptor(SignalDescriptor()) {}

MissionSignals::~MissionSignals() {
  if (m_canceller.joinable()) m_canceller.join();
  close(m_descriptor);
}

MissionSignals::Event MissionSignals::Next() {
  signalfd_siginfo info{};
  if (read(m_descriptor, &info, sizeof info) != sizeof info) return Event::none;
  if (info.ssi_signo == SIGWINCH) return Event::resized;
  if (m_cancelling) return Event::leave;
  m_cancelling = true;
  m_canceller = std::thread([this] { Cancel(); });
  return Event::cancelling;
}

std::string MissionSignals::Cancelling() {
  return "velactl: " + apps::Text("CLIENT_CANCELLING");
}

std::string MissionSignals::Refused() {
  return "velactl: " + apps::Text("CLIENT_CANCEL_REFUSED");
}

std::string MissionSignals::Left() {
  return "velactl: " + apps::Text("CLIENT_LEFT") + '\n';
}

void MissionSignals::Cancel() {
  VelaGnlTask task("abort");
  const VelaCurrentTaskScope current(&task);
  AsnAbortMissionReq request;
  request.scope = kAbortScopeAll;
  request.missionID = static_cast<AsnIntType>(m_missionID);
  AsnAbortMissionRsp response;
  const std::uint32_t result =
      CAsnPhyCmd(kAbortCommand, request, m_server, kAbortSeconds, 0, 0).Exec(&task, response);
  const bool done = result == 0 && static_cast<AsnIntType>(response.errorCode) == 0;
  m_refused.store(!done, std::memory_order_release);
  Inbox::Instance().Wake();
}

}  // namespace velactl
