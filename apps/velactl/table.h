#pragma once
#include <cstddef>
#include <string>
#include <vector>

namespace velactl {

// A table of text for people: a head, then rows, columns aligned by what a terminal shows (also for wide
// characters), control characters escaped. The last column is not padded.
class Table {
 public:
  explicit Table(std::vector<std::string> head);
  // As many cells as the head has.
  void Add(std::vector<std::string> cells);
  std::string Text() const;

 private:
  std::vector<std::vector<std::string>> m_rows;
  std::vector<std::size_t> m_widths;
};

}  // namespace velactl
