#include "apps/velactl/mission_watch.h"

#include <algorithm>

#include "apps/common/texts.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/inbox.h"
#include "apps/velactl/spread_inbox.h"
#include "apps/velactl/terminal.h"
#include "platform/os/clock.h"
#include "platform/task/vela_error.h"

namespace velactl {
namespace {

constexpr int kPatienceSeconds = 10;
constexpr int kSilenceSeconds = 120;

}  // namespace

MissionWatch::MissionWatch(std::int32_t missionID, CProcID server, bool quiet)
    : m_missionID(missionID),
      m_server(server),
      m_signals(missionID, server),
      m_life(server),
      m_terminal(SizeOfTerminal().columns != 0),
      m_silent(quiet && !m_terminal),
      m_bar(SizeOfTerminal()),
      m_begin(std::chrono::steady_clock::now()),
      m_lastSign(m_begin),
      m_lastMove(m_begin),
      m_patience(kPatienceSeconds) {
  Show(m_bar.Update(0));
}

void MissionWatch::Turn() {
  m_life.Wait(m_signals.Descriptor());
  ServeReports();
  m_signals.Serve(m_bar, [this](const std::string& bytes) { Show(bytes); });
  ShowStillness();
}

std::string MissionWatch::WhyHopeless() const {
  if (m_life.IsGone()) return apps::Text("SERVER_ENDED", {AddressText(m_server)});
  // Another process may live at the server's address by now.
  if (std::chrono::steady_clock::now() - m_lastSign > vela::ScaledSeconds(kSilenceSeconds))
    return WhyFailed(VELA_ERR_NO_ANSWER, m_server);
  return {};
}

void MissionWatch::Finish(bool complete) {
  ServeReports();
  m_signals.ServeRefusal(m_bar, [this](const std::string& bytes) { Show(bytes); });
  Show(m_bar.Finish(complete));
}

void MissionWatch::ServeReports() {
  for (const ProgressReport& report : Inbox::Instance().Take())
    if (report.missionID == m_missionID && report.from == m_server)
      Advance(report.percent, m_bar.Update(report.percent));
  for (const PartReport& report : SpreadInbox::Instance().TakeReports())
    if (report.missionID == m_missionID && report.from == m_server)
      Advance(report.percent, m_bar.Update(report.percent, report.part, report.detail));
}

void MissionWatch::Advance(int percent, const std::string& bytes) {
  Show(bytes);
  m_lastSign = std::chrono::steady_clock::now();
  if (!m_bar.Moved()) return;
  m_lastMove = m_lastSign;
  m_patience = kPatienceSeconds;
  const std::string left = TimeLeft(percent, m_lastSign - m_begin);
  if (m_terminal && !left.empty()) Show(m_bar.Update(percent, apps::Text("CLIENT_TIME_LEFT"), left));
}

void MissionWatch::ShowStillness() {
  if (std::chrono::steady_clock::now() - m_lastMove < vela::ScaledSeconds(m_patience)) return;
  Show(m_bar.Note("velactl: " + apps::Text("SPREAD_STILL", {std::to_string(m_patience)})));
  m_patience *= 2;
}

void MissionWatch::Show(const std::string& bytes) const {
  if (!m_silent) WriteToTerminal(bytes);
}

std::string TimeLeft(int percent, std::chrono::steady_clock::duration spent) {
  constexpr int fewest = 3;
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(spent).count();
  if (percent < fewest || seconds < 1) return {};
  const auto left = seconds * (100 - std::min(percent, 100)) / percent;
  if (left < 120) return apps::Text("CLIENT_SECONDS", {std::to_string(left)});
  return apps::Text("CLIENT_MINUTES", {std::to_string((left + 30) / 60)});
}

}  // namespace velactl
