#include "apps/velactl/top_screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "apps/velactl/top_report.h"

namespace velactl {
namespace {

// Another screen, no cursor; and back.
constexpr std::string_view kEnter = "\033[?1049h\033[?25l";
constexpr std::string_view kLeave = "\033[?25h\033[?1049l";
constexpr std::string_view kHome = "\033[H";
constexpr std::string_view kEraseLine = "\033[K";
constexpr std::string_view kEraseRest = "\033[J";

// As far as somebody takes it.
void Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

winsize Size() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
    size.ws_col = 80;
    size.ws_row = 24;
  }
  return size;
}

}  // namespace

TopScreen::~TopScreen() {
  Leave();
}

bool TopScreen::Exists() {
  const char* kind = std::getenv("TERM");
  return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1 && kind != nullptr &&
         std::string_view(kind) != "dumb";
}

bool TopScreen::Enter() {
  if (m_entered) return true;
  if (tcgetattr(STDIN_FILENO, &m_before) != 0) return false;
  CrashHandlerMgr::Instance()->Register(this);
  m_entered = true;
  termios raw = m_before;
  raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  raw.c_cc[VMIN] = 0;
  raw.c_cc[VTIME] = 0;
  if (tcsetattr(STDIN_FILENO, TCSAFLUSH, &raw) != 0) {
    const int why = errno;
    Leave();
    errno = why;
    return false;
  }
  Write(kEnter);
  return true;
}

void TopScreen::Leave() {
  if (!m_entered) return;
  m_entered = false;
  CrashHandlerMgr::Instance()->Unregister(this);
  Write(kLeave);
  tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_before);
}

void TopScreen::OnCrash(int) {
  Write(kLeave);
  tcsetattr(STDIN_FILENO, TCSANOW, &m_before);
}

void TopScreen::Show(const std::string& text) {
  const winsize size = Size();
  std::string drawn(kHome);
  for (const char c : FitScreen(text, size.ws_col - 1U, size.ws_row)) {
    if (c == '\n') drawn += kEraseLine;
    drawn += c;
  }
  drawn += kEraseLine;
  drawn += kEraseRest;
  Write(drawn);
}

std::optional<char> TopScreen::Key(bool& closed) {
  char key = 0;
  const ssize_t got = read(STDIN_FILENO, &key, 1);
  closed = got < 0 && errno != EINTR && errno != EAGAIN;
  return got == 1 ? std::optional<char>(key) : std::nullopt;
}

}  // namespace velactl
