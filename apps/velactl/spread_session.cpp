#include "apps/velactl/spread_session.h"

#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cstdlib>

#include "apps/asn1/spread_codes.h"
#include "apps/common/texts.h"
#include "apps/velactl/client_process.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/inbox.h"
#include "apps/velactl/spread_inbox.h"
#include "asn1/progress.h"
#include "platform/asncmd/asn_cmd.h"
#include "platform/os/clock.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"

namespace velactl {
namespace {

constexpr std::uint32_t kAbortCommand = 0x208001;
constexpr int kAbortScopeAll = 255;
constexpr int kAnswerSeconds = 60;
constexpr int kPatienceSeconds = 10;
constexpr int kSilenceSeconds = 120;
constexpr int kLookMilliseconds = 300;
constexpr int kLooksUntilGone = 4;

int SignalDescriptor() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGWINCH}) sigaddset(&signals, signal);
  return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

// 0 columns when standard error is no terminal that can redraw a line.
winsize TerminalSize() {
  winsize size{};
  const char* kind = std::getenv("TERM");
  if (isatty(STDERR_FILENO) == 0 || kind == nullptr || std::string(kind) == "dumb") return size;
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
    size.ws_col = 80;
    size.ws_row = 24;
  }
  return size;
}

std::uint32_t CodeOf(const AsnInt& code) {
  return static_cast<std::uint32_t>(static_cast<AsnIntType>(code));
}

}  // namespace

SpreadSession::SpreadSession(const AsnSpreadReq& request, CProcID owner, bool quiet)
    : m_request(request),
      m_owner(owner),
      m_missionID(static_cast<std::int32_t>(request.missionID)),
      m_signals(SignalDescriptor()),
      m_silent(quiet && TerminalSize().ws_col == 0),
      m_bar(TerminalSize().ws_col, TerminalSize().ws_row),
      m_lastSign(std::chrono::steady_clock::now()),
      m_lastMove(m_lastSign),
      m_patience(kPatienceSeconds) {}

SpreadSession::~SpreadSession() {
  if (m_asker.joinable()) m_asker.join();
  if (m_aborter.joinable()) m_aborter.join();
  close(m_signals);
}

std::unique_ptr<AsnSpreadEnd> SpreadSession::Run(std::string& error) {
  Show(m_bar.Update(0));
  m_asker = std::thread([this] { Ask(); });
  pollfd sources[] = {{Inbox::Instance().Descriptor(), POLLIN, 0}, {m_signals, POLLIN, 0}};
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

void SpreadSession::Abort() {
  VelaGnlTask task("abort");
  const VelaCurrentTaskScope current(&task);
  AsnAbortMissionReq request;
  request.scope = kAbortScopeAll;
  request.missionID = static_cast<AsnIntType>(m_missionID);
  AsnAbortMissionRsp response;
  std::uint32_t result =
      CAsnPhyCmd(kAbortCommand, request, m_owner, kPatienceSeconds, 0, 0).Exec(&task, response);
  if (result == 0) result = CodeOf(response.errorCode);
  m_abortRefused.store(result != 0, std::memory_order_release);
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
  if (m_abortRefused.exchange(false, std::memory_order_acquire))
    Show(m_bar.Note("velactl: " + apps::Text("CLIENT_CANCEL_REFUSED")));
}

void SpreadSession::ServeSignals() {
  signalfd_siginfo info{};
  while (read(m_signals, &info, sizeof info) == sizeof info) {
    if (info.ssi_signo == SIGWINCH) {
      m_bar.SetSize(TerminalSize().ws_col, TerminalSize().ws_row);
      continue;
    }
    if (m_aborting) {
      Show(m_bar.Finish(false));
      Show("velactl: " + apps::Text("CLIENT_LEFT") + '\n');
      _exit(130);
    }
    m_aborting = true;
    Show(m_bar.Note("velactl: " + apps::Text("CLIENT_CANCELLING")));
    m_aborter = std::thread([this] { Abort(); });
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

void SpreadSession::Show(const std::string& bytes) {
  std::size_t done = 0;
  while (!m_silent && done < bytes.size()) {
    const ssize_t written = write(STDERR_FILENO, bytes.data() + done, bytes.size() - done);
    if (written <= 0) return;
    done += static_cast<std::size_t>(written);
  }
}

}  // namespace velactl
