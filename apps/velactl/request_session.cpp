#include "apps/velactl/request_session.h"

#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cstdlib>

#include "apps/common/texts.h"
#include "apps/velactl/client_process.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/inbox.h"
#include "apps/velactl/options.h"
#include "asn1/progress.h"
#include "platform/asncmd/asn_cmd.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_task.h"

namespace velactl {
namespace {

constexpr std::uint32_t kAbortCommand = 0x208001;
constexpr int kAbortScopeAll = 255;
constexpr int kAbortSeconds = 10;
constexpr int kSilenceSeconds = 120;  // without any sign of the server
constexpr int kLookMilliseconds = 300;
constexpr int kLooksUntilGone = 4;

sigset_t ServedSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGWINCH);
  return signals;
}

int SignalDescriptor() {
  const sigset_t signals = ServedSignals();
  return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

// 0 when standard error is no terminal that can redraw a line.
std::size_t TerminalColumns() {
  const char* kind = std::getenv("TERM");
  if (isatty(STDERR_FILENO) == 0 || kind == nullptr || std::string(kind) == "dumb") return 0;
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

}  // namespace

std::int32_t NewMissionID() {
  return static_cast<std::int32_t>((VelaGetTickCount() & 0x3FFFFFFF) + 1);
}

std::string AskServer(char* argv0, const ServerChoice& choice, const MissionRequest& request,
                      SNACC::AsnType& response) {
  RequestSession::HoldSignals();
  ClientProcess process;
  std::string error;
  if (!process.Start(argv0, error)) return error;
  const auto server = ClientProcess::FindServer(choice.process, choice.handle);
  if (!server) {
    const std::string handle = choice.handle != 0 ? "/" + std::to_string(choice.handle) : "";
    return apps::Text("CLIENT_NO_SERVER", {std::to_string(choice.process) + handle, vela::InstallRoot()});
  }
  RequestSession session(request, *server);
  const std::uint32_t result = session.Run(response);
  if (session.ServerGone() && result != 0) return apps::Text("SERVER_ENDED", {AddressText(*server)});
  return result != 0 ? WhyFailed(result, *server) : std::string();
}

void RequestSession::HoldSignals() {
  const sigset_t signals = ServedSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

RequestSession::RequestSession(const MissionRequest& request, CProcID server)
    : m_request(request),
      m_server(server),
      m_signals(SignalDescriptor()),
      m_silent(request.quiet && TerminalColumns() == 0),
      m_bar(TerminalColumns()) {}

RequestSession::~RequestSession() {
  if (m_asker.joinable()) m_asker.join();
  if (m_aborter.joinable()) m_aborter.join();
  close(m_signals);
}

std::uint32_t RequestSession::Run(SNACC::AsnType& response) {
  Show(m_bar.Update(0, m_request.sending));
  m_asker = std::thread([this, &response] { Ask(response); });
  pollfd sources[] = {{Inbox::Instance().Descriptor(), POLLIN, 0}, {m_signals, POLLIN, 0}};
  while (!m_done.load(std::memory_order_acquire)) {
    if (poll(sources, 2, kLookMilliseconds) == 0) WatchServer();
    ServeReports();
    ServeSignals();
  }
  m_asker.join();
  ServeReports();
  Show(m_bar.Finish(m_result == 0 && m_request.complete()));
  return m_result;
}

void RequestSession::Ask(SNACC::AsnType& response) {
  VelaGnlTask task("request");
  const VelaCurrentTaskScope current(&task);
  CAsnPhyCmd command(m_request.command, m_request.message, m_server, kSilenceSeconds, 0, 0);
  m_result = command.Exec(&task, response);
  m_done.store(true, std::memory_order_release);
  Inbox::Instance().Wake();
}

void RequestSession::Abort() {
  VelaGnlTask task("abort");
  const VelaCurrentTaskScope current(&task);
  AsnAbortMissionReq request;
  request.scope = kAbortScopeAll;
  request.missionID = static_cast<AsnIntType>(m_request.missionID);
  AsnAbortMissionRsp response;
  std::uint32_t result =
      CAsnPhyCmd(kAbortCommand, request, m_server, kAbortSeconds, 0, 0).Exec(&task, response);
  if (result == 0) result = static_cast<std::uint32_t>(static_cast<AsnIntType>(response.errorCode));
  m_abortResult.store(result, std::memory_order_relaxed);
  m_abortDone.store(true, std::memory_order_release);
  Inbox::Instance().Wake();
}

void RequestSession::ServeReports() {
  for (const ProgressReport& report : Inbox::Instance().Take()) {
    if (report.missionID != m_request.missionID || report.from != m_server) continue;
    if (m_requestSn == 0) m_requestSn = report.sn;
    CAsnCmd::ResetTimeout(m_requestSn, m_server, kSilenceSeconds, 0);
    Show(m_bar.Update(report.percent, report.step));
  }
  if (!m_abortDone.exchange(false, std::memory_order_acquire)) return;
  if (m_abortResult.load(std::memory_order_relaxed) != 0)
    Show(m_bar.Note("velactl: " + apps::Text("CLIENT_CANCEL_REFUSED")));
}

void RequestSession::ServeSignals() {
  signalfd_siginfo info{};
  while (read(m_signals, &info, sizeof info) == sizeof info) {
    if (info.ssi_signo == SIGWINCH) {
      m_bar.SetColumns(TerminalColumns());
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

// An answer may still be under way when the server is gone already, hence several looks.
void RequestSession::WatchServer() {
  m_missed = ClientProcess::IsAlive(m_server) ? 0 : m_missed + 1;
  if (m_missed < kLooksUntilGone || m_gone) return;
  m_gone = true;
  CAsnCmd::Destroy();
}

void RequestSession::Show(const std::string& bytes) const {
  std::size_t done = 0;
  while (!m_silent && done < bytes.size()) {
    const ssize_t written = write(STDERR_FILENO, bytes.data() + done, bytes.size() - done);
    if (written <= 0) return;
    done += static_cast<std::size_t>(written);
  }
}

}  // namespace velactl
