#include "apps/velactl/debug_editor.h"

#include <histedit.h>

#include <strings.h>
#include <algorithm>
#include <clocale>
#include <cstdio>

#include "platform/os/vela_os.h"

namespace velactl {
namespace {

constexpr int kHistoryLines = 1000;

bool BeginsLike(const std::string& word, std::string_view begun) {
  return word.size() >= begun.size() && strncasecmp(word.data(), begun.data(), begun.size()) == 0;
}

// What both begin with, as `left` writes it.
std::string CommonBeginning(const std::string& left, const std::string& right) {
  std::size_t length = 0;
  while (length < std::min(left.size(), right.size()) && strncasecmp(&left[length], &right[length], 1) == 0)
    ++length;
  return left.substr(0, length);
}

}  // namespace

Completion Complete(std::string_view begun, const std::vector<std::string>& words) {
  std::vector<std::string> fitting;
  for (const std::string& word : words)
    if (BeginsLike(word, begun)) fitting.push_back(word);
  if (fitting.empty()) return {std::string(begun), {}};
  std::string common = fitting.front();
  for (const std::string& word : fitting) common = CommonBeginning(common, word);
  if (fitting.size() == 1) return {common + ' ', {}};
  if (common.size() > begun.size()) return {common, {}};
  return {std::string(begun), fitting};
}

struct LineEditor::Impl {
  Impl(const std::string& promptText, Words wordSource) : prompt(promptText), words(std::move(wordSource)) {
    std::setlocale(LC_CTYPE, "");
    HistEvent event{};
    history(lines, &event, H_SETSIZE, kHistoryLines);
    history(lines, &event, H_SETUNIQUE, 1);
    el_set(editor, EL_CLIENTDATA, this);
    el_set(editor, EL_PROMPT, &Prompt);
    el_set(editor, EL_EDITOR, "emacs");
    el_set(editor, EL_HIST, history, lines);
    el_set(editor, EL_ADDFN, "complete", "completes a word", &Tab);
    el_set(editor, EL_BIND, "^I", "complete", nullptr);
    el_set(editor, EL_SIGNAL, 1);  // the terminal is put back when a signal ends the program
  }
  ~Impl() {
    el_end(editor);
    history_end(lines);
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  static Impl& Of(EditLine* editor) {
    void* self = nullptr;
    el_get(editor, EL_CLIENTDATA, &self);
    return *static_cast<Impl*>(self);
  }
  static char* Prompt(EditLine* editor) { return Of(editor).prompt.data(); }

  static unsigned char Tab(EditLine* editor, int) {
    const LineInfo* const info = el_line(editor);
    const std::string_view line(info->buffer, static_cast<std::size_t>(info->cursor - info->buffer));
    const std::size_t start = line.find_last_of(" \t") + 1;  // npos + 1 is 0
    const std::string begun(line.substr(start));
    const Completion done = Complete(begun, Of(editor).words(line.substr(0, start)));
    if (done.word == begun) return ShowOthers(done.others);
    el_deletestr(editor, static_cast<int>(begun.size()));
    el_insertstr(editor, done.word.c_str());
    return CC_REFRESH;
  }

  static unsigned char ShowOthers(const std::vector<std::string>& others) {
    if (others.empty()) return CC_ERROR;
    std::string text = "\n";
    for (const std::string& other : others) text += vela::EscapeControls(other) + "  ";
    text += '\n';
    std::fputs(text.c_str(), stdout);
    return CC_REDISPLAY;
  }

  std::string prompt;
  const Words words;
  History* const lines = history_init();
  EditLine* const editor = el_init("velactl", stdin, stdout, stderr);
};

LineEditor::LineEditor(const std::string& prompt, Words words) : m_impl(new Impl(prompt, std::move(words))) {}

LineEditor::~LineEditor() {
  delete m_impl;
}

bool LineEditor::Read(std::string& line) {
  int length = 0;
  const char* const text = el_gets(m_impl->editor, &length);
  if (text == nullptr || length <= 0) return false;
  line.assign(text, static_cast<std::size_t>(length));
  VelaTrim(line);
  HistEvent event{};
  if (!line.empty()) history(m_impl->lines, &event, H_ENTER, line.c_str());
  return true;
}

}  // namespace velactl
