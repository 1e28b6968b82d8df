#pragma once
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace velactl {

// What a Tab does to the word at the end of a line.
struct Completion {
  std::string word;                 // takes its place
  std::vector<std::string> others;  // to be shown, when several fit and nothing can be added
};

// The words that begin like `begun`, whatever the case of their letters; a blank goes behind the only one.
Completion Complete(std::string_view begun, const std::vector<std::string>& words);

// Lines typed at a terminal: editing, history, completion. Standard input and output. One at a time.
class LineEditor {
 public:
  // The words that may stand behind `before`, the line up to the word at the cursor.
  using Words = std::function<std::vector<std::string>(std::string_view before)>;

  LineEditor(const std::string& prompt, Words words);
  ~LineEditor();
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  // Without its line end; false at the end of the input.
  bool Read(std::string& line);

 private:
  struct Impl;
  Impl* const m_impl;
};

}  // namespace velactl
