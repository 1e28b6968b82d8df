#include "apps/velactl/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

namespace velactl {

TerminalSize SizeOfTerminal() {
  const char* kind = std::getenv("TERM");
  if (isatty(STDERR_FILENO) == 0 || kind == nullptr || std::string(kind) == "dumb") return {};
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return {80, 24};
  return {size.ws_col, size.ws_row};
}

void WriteToTerminal(const std::string& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t written = write(STDERR_FILENO, bytes.data() + done, bytes.size() - done);
    if (written <= 0) return;
    done += static_cast<std::size_t>(written);
  }
}

}  // namespace velactl
