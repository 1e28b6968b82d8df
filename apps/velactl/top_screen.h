#pragma once
#include <termios.h>

#include <cstddef>
#include <optional>
#include <string>

#include "platform/log/crash_handler_mgr.h"

namespace velactl {

// The whole terminal behind standard input and output: a screen of its own, keys as they are pressed, no
// echo. As it was again when the object ends or the process crashes. One at a time, for one thread.
class TopScreen : private CrashHandler {
 public:
  TopScreen() = default;
  ~TopScreen() override;
  TopScreen(const TopScreen&) = delete;
  TopScreen& operator=(const TopScreen&) = delete;

  // Whether there is such a terminal.
  static bool Exists();

  bool Enter();  // false with errno
  void Leave();
  // Replaces what is shown, as far as it fits.
  void Show(const std::string& text);
  // The key that was pressed; nothing when there is none (any more). `closed`: there will be none.
  std::optional<char> Key(bool& closed);

 private:
  void OnCrash(int signalNumber) override;

  termios m_before{};
  bool m_entered = false;
};

}  // namespace velactl
