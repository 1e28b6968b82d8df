// External commands.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <optional>
#include <thread>

#include "platform/os/clock.h"
#include "platform/os/vela_os.h"
#include "util/basicutil/common.h"
#include "util/basicutil/filepath.h"

namespace NSTE_util {
namespace {

constexpr int kWaitSeconds = 60;

// Splits a command line into words as a shell would, without any expansion.
class WordSplitter {
 public:
  // Nothing when a quote is not closed.
  static std::optional<std::vector<std::string>> Split(const std::string& line) {
    WordSplitter splitter;
    for (const char c : line) splitter.Take(c);
    if (splitter.m_quote != 0 || splitter.m_escaped) return std::nullopt;
    splitter.EndWord();
    return std::move(splitter.m_words);
  }

 private:
  void Take(char c) {
    if (m_escaped) return TakeEscaped(c);
    if (c == '\\' && m_quote != '\'') {
      m_escaped = true;
      return;
    }
    if (m_quote != 0) return c == m_quote ? void(m_quote = 0) : Append(c);
    if (c == '"' || c == '\'') {
      m_quote = c;
      m_inWord = true;
      return;
    }
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') return EndWord();
    Append(c);
  }

  // Inside "..." a backslash is special only in front of a quote or another backslash.
  void TakeEscaped(char c) {
    m_escaped = false;
    if (m_quote == '"' && c != '"' && c != '\\') Append('\\');
    Append(c);
  }

  void Append(char c) {
    m_word += c;
    m_inWord = true;
  }

  void EndWord() {
    if (m_inWord) m_words.push_back(std::move(m_word));
    m_word.clear();
    m_inWord = false;
  }

  std::vector<std::string> m_words;
  std::string m_word;
  bool m_inWord = false;  // an empty pair of quotes is a word too
  bool m_escaped = false;
  char m_quote = 0;
};

// How a child starts: in the folder, with an empty input, without our other files, in a process group of its
// own and with default signals.
class SpawnPlan {
 public:
  SpawnPlan() {
    posix_spawn_file_actions_init(&m_actions);
    posix_spawnattr_init(&m_attributes);
  }
  ~SpawnPlan() {
    posix_spawnattr_destroy(&m_attributes);
    posix_spawn_file_actions_destroy(&m_actions);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;

  // 0 or an error number.
  int Start(const std::string& workDir, std::vector<std::string> words, pid_t& child) {
    if (words.empty()) return EINVAL;
    if (const int error = Prepare(workDir)) return error;
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    return ::posix_spawnp(&child, arguments[0], &m_actions, &m_attributes, arguments.data(), environ);
  }

 private:
  int Prepare(const std::string& workDir) {
    int error = posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (error == 0) error = posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1);
    if (error == 0 && !workDir.empty())
      error = posix_spawn_file_actions_addchdir_np(&m_actions, workDir.c_str());
    if (error != 0) return error;
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&m_attributes, &none);
    posix_spawnattr_setsigdefault(&m_attributes, &all);
    posix_spawnattr_setpgroup(&m_attributes, 0);
    return posix_spawnattr_setflags(&m_attributes,
                                    POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  }

  posix_spawn_file_actions_t m_actions;
  posix_spawnattr_t m_attributes;
};

// waitpid without interruptions.
pid_t WaitFor(pid_t child, int& status, int options) {
  pid_t result = 0;
  do {
    result = ::waitpid(child, &status, options);
  } while (result < 0 && errno == EINTR);
  return result;
}

// The child's id and its status; 0 after the deadline, -1 when it cannot be waited for.
pid_t WaitUntil(pid_t child, std::chrono::steady_clock::time_point deadline, int& status) {
  auto pause = std::chrono::microseconds(500);
  while (true) {
    const pid_t result = WaitFor(child, status, WNOHANG);
    if (result != 0 || std::chrono::steady_clock::now() >= deadline) return result;
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, std::chrono::microseconds(20'000));
  }
}

void KillAndReap(pid_t child) {
  ::kill(-child, SIGKILL);
  ::kill(child, SIGKILL);
  int status = 0;
  WaitFor(child, status, 0);
}

int WaitForExit(pid_t child) {
  int status = 0;
  const auto deadline = std::chrono::steady_clock::now() + vela::ScaledSeconds(kWaitSeconds);
  const pid_t result = WaitUntil(child, deadline, status);
  if (result == child) return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  if (result == 0) KillAndReap(child);
  GetDefaultDebugInterface().PrintF(
      1, "ExecuteCMD error occured when waiting for child process exit,waitResult:%d,status:%d",
      static_cast<int>(result), status);
  return -1;
}

// The archive's name as one word of a command line that is not mistaken for an option or a list of names.
std::string ArchiveWord(const std::string& archive) {
  const std::string name = (archive.starts_with('-') || archive.starts_with('@') ? "./" : "") + archive;
  if (name.find_first_of(" \t\r\n\"'\\") == std::string::npos) return name;
  std::string quoted = "\"";
  for (const char c : name) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

}  // namespace

int execCMD(const std::string& workDir, const std::string& commandLine) {
  pid_t child = 0;
  const auto words = WordSplitter::Split(commandLine);
  const int error = words ? SpawnPlan().Start(workDir, *words, child) : EINVAL;
  if (error == 0) return WaitForExit(child);
  GetDefaultDebugInterface().PrintF(1, "ExecuteCMD %s:spawn process failed,errno:%d",
                                    vela::EscapeControls(commandLine).c_str(), error);
  return -1;
}

int extractFile(std::string archive, std::string workDir) {
  return execCMD(workDir, "7za x -y " + ArchiveWord(archive));
}

}  // namespace NSTE_util
