#include "platform/log/log_line.h"

#include <array>

#include "platform/log/time_formatter.h"
#include "platform/os/vela_os.h"

namespace vela::log {
namespace {

// As wide as each other, so that what follows stands in columns.
std::string_view LevelWord(int level) {
  constexpr std::array<std::string_view, 4> words{",Fixme,[H", ",Error,[H", ",Info, [H", ",Debug,[H"};
  if (level < 0 || level >= static_cast<int>(words.size())) return ",Force,[H";
  return words[static_cast<std::size_t>(level)];
}

void AppendText(std::string& out, std::string_view text) {
  if (text.ends_with('\n')) text.remove_suffix(1);
  while (true) {
    const std::size_t end = text.find('\n');
    out += EscapeControls(text.substr(0, end));
    out += '\n';
    if (end == std::string_view::npos) return;
    out += "    ";
    text.remove_prefix(end + 1);
  }
}

}  // namespace

void AppendLine(std::string& out, const Record& record) {
  const auto since = record.time.time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
  out += '[';
  out += TimeFormatter::getFormatTime(seconds.count(), static_cast<std::int32_t>((since - seconds).count()));
  out += ']';
  out += LevelWord(record.level);
  out += std::to_string(record.threadId);
  out += "] ";
  AppendText(out, record.text);
}

}  // namespace vela::log
