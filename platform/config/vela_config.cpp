#include "platform/config/vela_config.h"

#include <charconv>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/os/vela_os.h"
#include "platform/text/utf8.h"

namespace {

// Room for the longest entry with every character escaped, blanks and a comment.
constexpr std::size_t kLineRoom = 8192;

struct Line {
  char text[kLineRoom];
  std::size_t length = 0;
  bool fits = true;
  bool end = false;  // nothing was left to read

  std::string_view View() const { return {text, length}; }
};

void ReadLine(std::FILE* file, Line& line) {
  ::flockfile(file);
  int c = ::getc_unlocked(file);
  line.end = c == EOF;
  for (; c != EOF && c != '\n'; c = ::getc_unlocked(file)) {
    line.fits = line.fits && c != '\0' && line.length < kLineRoom;
    if (line.fits) line.text[line.length++] = static_cast<char>(c);
  }
  ::funlockfile(file);
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// The text in front of a comment: a "#" at the start (when `atStart`) or behind a blank.
std::string_view WithoutComment(std::string_view text, bool atStart) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool opens = i == 0 ? atStart : IsBlank(text[i - 1]);
    if (text[i] == '#' && opens) return text.substr(0, i);
  }
  return text;
}

char Unescaped(char c) {
  if (c == 'n') return '\n';
  if (c == 't') return '\t';
  return c == '"' || c == '\\' ? c : '\0';
}

// The content of a text that starts with a quote; nothing when it is no quoted value with at most a comment
// behind it.
std::optional<std::string> Unquoted(std::string_view text) {
  std::string content;
  std::size_t i = 1;
  for (; i < text.size() && text[i] != '"'; ++i) {
    const char escaped = text[i] == '\\' && i + 1 < text.size() ? Unescaped(text[i + 1]) : '\0';
    content += escaped != '\0' ? escaped : text[i];
    if (escaped != '\0') ++i;
  }
  if (i >= text.size()) return std::nullopt;
  const bool onlyComment = Trimmed(WithoutComment(text.substr(i + 1), false)).empty();
  return onlyComment ? std::optional(content) : std::nullopt;
}

// `text` is what follows the "=".
std::string Value(std::string_view text) {
  const std::string_view trimmed = Trimmed(text);
  if (!trimmed.empty() && trimmed.front() == '"') {
    if (auto content = Unquoted(trimmed)) return *std::move(content);
  }
  return std::string(Trimmed(WithoutComment(text, false)));
}

bool CopyOut(std::string_view text, char* out) {
  if (text.size() >= VELA_LINE_TEXT || !vela::IsUtf8(text)) return false;
  std::memcpy(out, text.data(), text.size());
  out[text.size()] = '\0';
  return true;
}

bool ParseEntry(std::string_view line, char* key, char* value) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return false;
  const std::string_view left = line.substr(0, equals);
  const std::string_view name = Trimmed(left);
  if (name.empty() || WithoutComment(left, true).size() != left.size()) return false;
  return CopyOut(name, key) && CopyOut(Value(line.substr(equals + 1)), value);
}

template <class Integer>
std::optional<Integer> WholeNumber(std::string_view text, int base) {
  Integer number{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number, base);
  return error == std::errc{} && stop == end ? std::optional(number) : std::nullopt;
}

std::optional<int> Integer32(std::string_view text) {
  if (text.starts_with("0x") || text.starts_with("0X")) {
    const auto bits = WholeNumber<std::uint32_t>(text.substr(2), 16);
    return bits ? std::optional(static_cast<int>(*bits)) : std::nullopt;
  }
  const bool plus = text.starts_with('+') && !text.starts_with("+-");
  return WholeNumber<int>(text.substr(plus ? 1 : 0), 10);
}

}  // namespace

int VelaGetLine(std::FILE* file, char* key, char* value) {
  key[0] = value[0] = '\0';
  if (file == nullptr) return VELA_LINE_END;
  Line line;
  ReadLine(file, line);
  if (line.end) return VELA_LINE_END;
  std::string_view text = line.View();
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  if (line.fits && ParseEntry(text, key, value)) return VELA_LINE_ENTRY;
  key[0] = value[0] = '\0';
  return VELA_LINE_SKIP;
}

int VelaGetRegString(const char* file, const char* key, std::string& value) {
  if (key == nullptr || key[0] == '\0') return 0;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened(VELA_OS::fopen(file, "r"), VELA_OS::fclose);
  if (!opened) return -1;
  char name[VELA_LINE_TEXT];
  char text[VELA_LINE_TEXT];
  while (const int kind = VelaGetLine(opened.get(), name, text)) {
    if (kind != VELA_LINE_ENTRY || std::strcmp(name, key) != 0) continue;
    value = text;
    return 1;
  }
  return std::ferror(opened.get()) != 0 ? -1 : 0;
}

int VelaGetRegInt(const char* file, const char* key, int& value) {
  std::string text;
  const int found = VelaGetRegString(file, key, text);
  if (found != 1) return found;
  const auto number = Integer32(text);
  if (!number) return 0;
  value = *number;
  return 1;
}
