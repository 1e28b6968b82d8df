#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "apps/velactl/terminal.h"

namespace velactl {

// What to write to show the progress of a mission and of the parts behind it. On a terminal with room enough
// a bar and a line for each part, drawn anew; on one with less the bar alone; elsewhere a plain line for
// every tenth of the way and when a part is in another state than before; one that differs in its numbers
// only is the same, and so is any "so many percent". The figure never goes backwards. Not thread-safe.
class PartsBar {
 public:
  explicit PartsBar(const TerminalSize& size) : m_size(size) {}

  // The terminal was resized.
  void SetSize(const TerminalSize& size);

  // Each returns the bytes to write, which may be none.
  std::string Update(int percent);
  // One part: how far it is, or how it stands.
  std::string Update(int percent, std::string_view part, std::string_view detail);
  // A line that stays, above the bar.
  std::string Note(std::string_view line);
  // Ends the bar; when `complete`, at 100.
  std::string Finish(bool complete);

  // Whether the last update showed anything new.
  bool Moved() const { return m_moved; }

 private:
  bool Raise(int percent);
  std::string Show(bool always);
  std::string PlainLine() const;
  // With lines that stay above it.
  std::string Redraw(const std::string& above);
  std::string Draw();
  std::string Erase();
  std::string Bar() const;

  TerminalSize m_size;
  int m_percent = -1;    // -1: nothing shown yet
  int m_lastLine = -10;  // percentage of the last plain line
  std::vector<std::pair<std::string, std::string>> m_parts;
  std::size_t m_drawn = 0;  // lines on the terminal that are drawn anew
  bool m_moved = false;
};

}  // namespace velactl
