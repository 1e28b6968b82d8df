#include "apps/velactl/parts_bar.h"

#include <algorithm>
#include <iterator>

#include "apps/velactl/utf8.h"
#include "platform/os/vela_os.h"

namespace velactl {
namespace {

constexpr std::size_t kWidestBar = 40;
constexpr std::size_t kNarrowestBar = 10;
constexpr int kLineEvery = 10;

// "45%", as opposed to a state.
bool IsFigure(std::string_view detail) {
  return !detail.empty() && detail.back() == '%' &&
         detail.find_first_not_of("0123456789") == detail.size() - 1;
}

// Whether they differ in nothing but numbers: "1 of 9 files" and "2 of 9 files".
bool IsSameState(std::string_view a, std::string_view b) {
  const auto withoutNumbers = [](std::string_view text) {
    std::string rest;
    std::copy_if(text.begin(), text.end(), std::back_inserter(rest),
                 [](char c) { return c < '0' || c > '9'; });
    return rest;
  };
  return withoutNumbers(a) == withoutNumbers(b);
}

}  // namespace

void PartsBar::SetSize(const TerminalSize& size) {
  if (m_size.columns != 0 && size.columns != 0) m_size = size;
}

bool PartsBar::Raise(int percent) {
  const int before = m_percent;
  m_percent = std::clamp(percent, std::max(m_percent, 0), 100);
  return m_percent != before;
}

std::string PartsBar::Update(int percent) {
  m_moved = Raise(percent);
  return m_moved ? Show(false) : std::string();
}

std::string PartsBar::Update(int percent, std::string_view part, std::string_view detail) {
  const bool raised = Raise(percent);
  const std::string name = vela::EscapeControls(part);
  const std::string shown = vela::EscapeControls(detail);
  const auto known =
      std::find_if(m_parts.begin(), m_parts.end(), [&](const auto& entry) { return entry.first == name; });
  const bool isNew = known == m_parts.end();
  const bool changed = isNew || known->second != shown;
  const bool otherState = changed && !IsFigure(shown) && (isNew || !IsSameState(known->second, shown));
  m_moved = raised || changed;
  if (!m_moved) return {};
  if (isNew)
    m_parts.emplace_back(name, shown);
  else
    known->second = shown;
  return Show(otherState);
}

std::string PartsBar::Show(bool always) {
  if (m_size.columns != 0) return Redraw({});
  if (!always && m_percent < m_lastLine + kLineEvery && (m_percent < 100 || m_lastLine == 100)) return {};
  m_lastLine = m_percent;
  return PlainLine();
}

std::string PartsBar::Redraw(const std::string& above) {
  std::string text = Erase();
  text += above;
  text += Draw();
  return text;
}

std::string PartsBar::PlainLine() const {
  std::string line = std::to_string(m_percent) + '%';
  const char* separator = "  ";
  for (const auto& [part, detail] : m_parts) {
    line += separator + part + ' ' + detail;
    separator = ", ";
  }
  return line + '\n';
}

std::string PartsBar::Note(std::string_view line) {
  if (m_drawn == 0) return std::string(line) + '\n';
  return Redraw(std::string(line) + '\n');
}

std::string PartsBar::Finish(bool complete) {
  std::string text;
  if (complete) text = Update(100);
  if (m_drawn != 0) text += '\n';
  m_drawn = 0;
  return text;
}

std::string PartsBar::Bar() const {
  std::string number = std::to_string(std::max(m_percent, 0)) + '%';
  number.insert(0, 4 - std::min<std::size_t>(number.size(), 4), ' ');
  const std::size_t bar = std::min(kWidestBar, m_size.columns / 3);
  if (bar < kNarrowestBar) return number;
  const std::size_t done = bar * static_cast<std::size_t>(std::max(m_percent, 0)) / 100;
  return '[' + std::string(done, '#') + std::string(bar - done, '.') + "] " + number;
}

// The cursor stays at the end of the last line. The last column stays free: some terminals wrap as soon as it
// is written.
std::string PartsBar::Draw() {
  const std::size_t room = std::max<std::size_t>(m_size.columns, 2) - 1;
  std::string text(FitColumns(Bar(), room));
  m_drawn = 1;
  if (m_parts.size() + 2 > m_size.rows) return text;
  std::size_t widest = 0;
  for (const auto& [part, detail] : m_parts) widest = std::max(widest, part.size());
  for (const auto& [part, detail] : m_parts) {
    const std::string line = "  " + part + std::string(widest - part.size() + 2, ' ') + detail;
    text += '\n' + std::string(FitColumns(line, room));
  }
  m_drawn += m_parts.size();
  return text;
}

std::string PartsBar::Erase() {
  if (m_drawn == 0) return {};
  std::string text = "\r";
  if (m_drawn > 1) text += "\033[" + std::to_string(m_drawn - 1) + 'A';
  m_drawn = 0;
  return text + "\033[J";
}

}  // namespace velactl
