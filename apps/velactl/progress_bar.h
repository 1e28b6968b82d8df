#pragma once
#include <cstddef>
#include <string>
#include <string_view>

#include "apps/velactl/terminal.h"

namespace velactl {

// What to write to show progress: on a terminal one line that is drawn anew, elsewhere a line for every new
// step and every tenth of the way. Never goes backwards. Not thread-safe.
class ProgressBar {
 public:
  // `columns` of the terminal; 0: not a terminal.
  explicit ProgressBar(std::size_t columns) : m_columns(columns) {}

  // The terminal was resized.
  void SetSize(const TerminalSize& size);

  // Each returns the bytes to write, which may be none. An empty step keeps the last one.
  std::string Update(int percent, std::string_view step);
  // A line that stays, above the bar.
  std::string Note(std::string_view line);
  // Ends the bar; when `complete`, at 100.
  std::string Finish(bool complete);

 private:
  std::string Draw();
  std::string Erase() const;

  std::size_t m_columns;
  int m_percent = -1;  // -1: nothing shown yet
  int m_lastLine = 0;  // percentage of the last plain line
  std::string m_step;
  bool m_open = false;  // a drawn line waits for its end
};

}  // namespace velactl
