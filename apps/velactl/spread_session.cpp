#include "apps/velactl/spread_session.h"

#include <poll.h>
#include <unistd.h>

#include "apps/asn1/spread_codes.h"
#include "apps/common/texts.h"
#include "apps/velactl/client_process.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/inbox.h"
#include "apps/velactl/spread_inbox.h"
#include "apps/velactl/terminal.h"
#include "platform/asncmd/asn_cmd.h"
#include "platform/os/clock.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"

namespace velactl {
namespace {

constexpr int kAnswerSeconds = 60;
constexpr int kPatienceSeconds = 10;
constexpr int kSilenceSeconds = 120;
constexpr int kLookMilliseconds = 300;
constexpr int kLooksUntilGone = 4;

std::uint32_t CodeOf(const AsnInt& code) {
  return static_cast<std::uint32_t>(static_cast<AsnIntType>(code));
}

}  // namespace

SpreadSession::SpreadSession(const AsnSpreadReq& request, CProcID owner, bool quiet)
    : m_request(request),
      m_owner(owner),
      m_missionID(static_cast<std::int32_t>(request.missionID)),
      m_signals(m_missionID, owner),
      m_silent(quiet && SizeOfTerminal().columns == 0),
      m_bar(SizeOfTerminal().columns, SizeOfTerminal().rows),
      m_lastSign(std::chrono::steady_clock::now()),
      m_lastMove(m_lastSign),
      m_patience(kPatienceSeconds) {}

SpreadSession::~SpreadSession() {
  if (m_asker.joinable()) m_asker.join();
}

std::unique_ptr<AsnSpreadEnd> SpreadSession::Run(std::string& error) {
  Show(m_bar.Update(0));
  m_asker = std::thread([this] { Ask(); });
  pollfd sources[] = {{Inbox::Instance().Descriptor(), POLLIN, 0}, {m_signals.Descriptor(), POLLIN, 0}};
  while (!m_end && !IsHopeless(error)) {
    if (poll(sources, 2, kLookMilliseconds) == 0) WatchOwner();
    ServeReports();
    ServeSignals();
    WatchProgress();
  }
  Show(m_bar.Finish(m_end && CodeOf(m_end->errorCode) == 0));
  if (!m_end) CAsnCmd::Destroy();
  return std::move(m_end);
}

void SpreadSession::Ask() {
  VelaGnlTask task("spread");
  const VelaCurrentTaskScope current(&task);
  m_result = CAsnPhyCmd(SPREAD_COMMAND, m_request, m_owner, kAnswerSeconds, 0, 0).Exec(&task, m_answer);
  m_asked.store(true, std::memory_order_release);
  Inbox::Instance().Wake();
}

void SpreadSession::ServeReports() {
  const auto moved = [this](const std::string& bytes) {
    Show(bytes);
    m_lastSign = std::chrono::steady_clock::now();
    if (!m_bar.Moved()) return;
    m_lastMove = m_lastSign;
    m_patience = kPatienceSeconds;
  };
  for (const ProgressReport& report : Inbox::Instance().Take())
    if (report.missionID == m_missionID && report.from == m_owner) moved(m_bar.Update(report.percent));
  for (const PartReport& report : SpreadInbox::Instance().TakeReports())
    if (report.missionID == m_missionID && report.from == m_owner)
      moved(m_bar.Update(report.percent, report.part, report.detail));
  if (!m_end) m_end = SpreadInbox::Instance().TakeEnd(m_owner, m_missionID);
  if (m_signals.TakeRefusal()) Show(m_bar.Note("velactl: " + apps::Text("CLIENT_CANCEL_REFUSED")));
}

void SpreadSession::ServeSignals() {
  using Event = MissionSignals::Event;
  for (Event event = m_signals.Next(); event != Event::none; event = m_signals.Next()) {
    if (event == Event::resized) m_bar.SetSize(SizeOfTerminal().columns, SizeOfTerminal().rows);
    if (event == Event::cancelling) Show(m_bar.Note("velactl: " + apps::Text("CLIENT_CANCELLING")));
    if (event != Event::leave) continue;
    Show(m_bar.Finish(false));
    Show("velactl: " + apps::Text("CLIENT_LEFT") + '\n');
    _exit(130);
  }
}

// A result may still be under way when the owner is gone already, hence several looks.
void SpreadSession::WatchOwner() {
  m_missed = ClientProcess::IsAlive(m_owner) ? 0 : m_missed + 1;
}

void SpreadSession::WatchProgress() {
  const auto still = std::chrono::steady_clock::now() - m_lastMove;
  if (m_end || still < vela::ScaledSeconds(m_patience)) return;
  Show(m_bar.Note("velactl: " + apps::Text("SPREAD_STILL", {std::to_string(m_patience)})));
  m_patience *= 2;
}

bool SpreadSession::IsHopeless(std::string& error) {
  if (m_missed >= kLooksUntilGone) {
    error = apps::Text("SERVER_ENDED", {AddressText(m_owner)});
    return true;
  }
  // Another process may live at the owner's address by now.
  if (std::chrono::steady_clock::now() - m_lastSign > vela::ScaledSeconds(kSilenceSeconds)) {
    error = WhyFailed(VELA_ERR_NO_ANSWER, m_owner);
    return true;
  }
  if (!m_asked.load(std::memory_order_acquire)) return false;
  const std::uint32_t code = m_result != 0 ? m_result : CodeOf(m_answer.errorCode);
  if (code == 0) return false;
  error = m_answer.reason.data();
  if (error.empty()) error = WhyFailed(code, m_owner);
  return true;
}

void SpreadSession::Show(const std::string& bytes) const {
  if (!m_silent) WriteToTerminal(bytes);
}

}  // namespace velactl
