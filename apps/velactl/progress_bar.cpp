#include "apps/velactl/progress_bar.h"

#include <algorithm>

#include "apps/velactl/utf8.h"
#include "platform/os/vela_os.h"

namespace velactl {
namespace {

constexpr std::size_t kWidestBar = 40;
constexpr std::size_t kNarrowestBar = 10;

}  // namespace

void ProgressBar::SetSize(const TerminalSize& size) {
  if (m_columns != 0 && size.columns != 0) m_columns = size.columns;
}

std::string ProgressBar::Update(int percent, std::string_view step) {
  percent = std::clamp(percent, std::max(m_percent, 0), 100);
  const std::string shown = vela::EscapeControls(step);
  const bool newStep = !shown.empty() && shown != m_step;
  if (percent == m_percent && !newStep) return {};
  if (newStep) m_step = shown;
  const bool first = m_percent < 0;
  m_percent = percent;
  if (m_columns != 0) return Draw();
  if (!first && !newStep && percent < m_lastLine + 10 && percent < 100) return {};
  m_lastLine = percent;
  return std::to_string(percent) + "% " + m_step + '\n';
}

std::string ProgressBar::Note(std::string_view line) {
  std::string text = Erase() + std::string(line) + '\n';
  if (m_open) text += Draw();
  return text;
}

std::string ProgressBar::Finish(bool complete) {
  std::string text;
  if (complete && m_percent < 100) text = Update(100, {});
  if (m_open) text += '\n';
  m_open = false;
  return text;
}

std::string ProgressBar::Draw() {
  const std::string erase = Erase();
  m_open = true;
  std::string number = std::to_string(m_percent) + '%';
  number.insert(0, 4 - std::min<std::size_t>(number.size(), 4), ' ');
  // The last column stays free: some terminals wrap as soon as it is written.
  const std::size_t room = std::max<std::size_t>(m_columns, 2) - 1;
  const std::size_t bar = std::min(kWidestBar, room / 3);
  std::string line;
  if (bar >= kNarrowestBar) {
    const std::size_t done = bar * static_cast<std::size_t>(m_percent) / 100;
    line = '[' + std::string(done, '#') + std::string(bar - done, '.') + "] ";
  }
  line += number + "  " + m_step;
  return erase + std::string(FitColumns(line, room));
}

std::string ProgressBar::Erase() const {
  return m_open ? "\r\033[K" : "";
}

}  // namespace velactl
