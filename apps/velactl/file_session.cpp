#include "apps/velactl/file_session.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include "apps/velactl/inbox.h"
#include "apps/velactl/served_signals.h"
#include "apps/velactl/terminal.h"
#include "platform/asncmd/asn_cmd.h"
#include "platform/task/vela_task.h"

namespace velactl {
namespace {

constexpr int kExitLeft = 130;
constexpr std::chrono::milliseconds kNoticeable{500};
constexpr std::int32_t kOwnSteps = 0;  // no mission has this number

}  // namespace

FileSession::FileSession(CProcID server, int seconds, bool quiet)
    : m_server(server),
      m_seconds(seconds),
      m_columns(SizeOfTerminal().columns),
      m_quiet(quiet),
      m_signals(SignalDescriptor()),
      m_life(server),
      m_begun(std::chrono::steady_clock::now()),
      m_bar(m_columns) {}

FileSession::~FileSession() {
  if (m_worker.joinable()) m_worker.join();
  close(m_signals);
}

bool FileSession::Run(const std::function<bool()>& work) {
  m_worker = std::thread([this, &work] {
    m_complete = work();
    m_ended.store(true, std::memory_order_release);
    Inbox::Instance().Wake();
  });
  while (!m_ended.load(std::memory_order_acquire)) {
    m_life.Wait(m_signals);
    if (m_life.IsGone() && !m_gone.exchange(true, std::memory_order_acq_rel)) CAsnCmd::Destroy();
    ServeSignals();
    ShowSteps();
  }
  m_worker.join();
  ShowSteps();
  if (Shows()) WriteToTerminal(m_bar.Finish(m_complete));
  return m_complete;
}

bool FileSession::Step(int percent, const std::string& step) {
  Inbox::Instance().Leave({kOwnSteps, percent, step, 0, m_server});
  return !Leaving();
}

std::uint32_t FileSession::Exec(std::uint32_t command, const SNACC::AsnType& request,
                                SNACC::AsnType& response) const {
  VelaGnlTask task("file");
  const VelaCurrentTaskScope current(&task);
  return CAsnPhyCmd(command, request, m_server, m_seconds, 0, 0).Exec(&task, response);
}

bool FileSession::Shows() const {
  if (m_columns == 0) return !m_quiet && m_large.load(std::memory_order_relaxed);
  return m_large.load(std::memory_order_relaxed) || std::chrono::steady_clock::now() - m_begun > kNoticeable;
}

void FileSession::ShowSteps() {
  for (const ProgressReport& report : Inbox::Instance().Take()) {
    if (report.missionID != kOwnSteps) continue;
    m_percent = report.percent;
    m_step = report.step;
  }
  if (Shows()) WriteToTerminal(m_bar.Update(m_percent, m_step));
}

void FileSession::ServeSignals() {
  signalfd_siginfo info{};
  while (read(m_signals, &info, sizeof info) == sizeof info) {
    if (info.ssi_signo == SIGWINCH) {
      m_bar.SetSize(SizeOfTerminal());
      continue;
    }
    if (m_leaving.exchange(true, std::memory_order_acq_rel)) {
      WriteToTerminal(m_bar.Finish(false));
      _exit(kExitLeft);
    }
    CAsnCmd::Destroy();
  }
}

}  // namespace velactl
