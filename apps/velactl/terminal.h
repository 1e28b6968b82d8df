#pragma once
#include <cstddef>
#include <string>

// The terminal behind standard error.
namespace velactl {

struct TerminalSize {
  std::size_t columns = 0;  // 0: standard error is no terminal that can redraw a line
  std::size_t rows = 0;
};

TerminalSize SizeOfTerminal();
// Writes all bytes, as far as somebody takes them.
void WriteToTerminal(const std::string& bytes);

}  // namespace velactl
