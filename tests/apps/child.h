#pragma once
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <utility>
#include <vector>

#include "tests/files.h"

extern char** environ;

namespace apps_test {

// A real process, its output read through pipes. What is waited for comes or the deadline fails the test;
// nothing sleeps. Ends with its guard.
class Child {
 public:
  enum Stream { out, err };

  // Seconds last a second, whatever the test's own scale. `changes`: variables; an empty value unsets.
  explicit Child(std::vector<std::string> arguments, std::map<std::string, std::string> changes = {}) {
    changes.try_emplace("VELA_TIME_SCALE", "1000");
    // Also when the test itself is killed.
    arguments.insert(arguments.begin(), {"/usr/bin/setpriv", "--pdeathsig", "KILL", "--"});
    std::vector<std::string> variables;
    for (char** v = environ; *v != nullptr; ++v)
      if (!changes.contains(std::string(*v).substr(0, std::string(*v).find('=')))) variables.emplace_back(*v);
    for (const auto& [name, value] : changes)
      if (!value.empty()) variables.push_back(name + '=' + value);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    for (int i = 0; i < 2; ++i) {
      int ends[2];
      if (pipe2(ends, O_CLOEXEC) != 0) std::abort();
      m_read[i] = ends[0];
      m_write[i] = ends[1];
      posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO + i);
    }
    auto argv = Pointers(arguments);
    auto envp = Pointers(variables);
    if (posix_spawn(&m_pid, argv[0], &actions, nullptr, argv.data(), envp.data()) != 0) m_pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    for (const int end : m_write) close(end);
  }
  ~Child() {
    if (m_pid > 0) {
      kill(m_pid, SIGKILL);
      waitpid(m_pid, nullptr, 0);
    }
    for (const int end : m_read) close(end);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  void Signal(int signal) const { kill(m_pid, signal); }
  // Returns when every thread has stopped.
  void Stop() const {
    kill(m_pid, SIGSTOP);
    waitpid(m_pid, nullptr, WUNTRACED);
  }

  // Reads until `text` was said on the stream; false at its end or the deadline.
  bool Says(Stream stream, const std::string& text) {
    while (m_text[stream].find(text) == std::string::npos)
      if (!ReadMore()) return m_text[stream].find(text) != std::string::npos;
    return true;
  }

  // Reads on to the end; the exit code, -signal, or -1000 when it does not end.
  int End() {
    while (ReadMore()) continue;
    if (m_open[0] || m_open[1]) return -1000;
    int status = 0;
    waitpid(std::exchange(m_pid, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  const std::string& Text(Stream stream) const { return m_text[stream]; }

 private:
  static std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
  }

  bool ReadMore() {
    if (!m_open[0] && !m_open[1]) return false;
    pollfd sources[2];
    for (int i = 0; i < 2; ++i) sources[i] = {m_open[i] ? m_read[i] : -1, POLLIN, 0};
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(m_deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0 || poll(sources, 2, static_cast<int>(left.count())) <= 0) return false;
    for (int i = 0; i < 2; ++i) {
      if (sources[i].revents == 0) continue;
      char block[4096];
      const ssize_t got = read(m_read[i], block, sizeof block);
      if (got > 0)
        m_text[i].append(block, static_cast<std::size_t>(got));
      else
        m_open[i] = false;
    }
    return true;
  }

  pid_t m_pid = -1;
  int m_read[2];
  int m_write[2];
  bool m_open[2] = {true, true};
  std::string m_text[2];
  const std::chrono::steady_clock::time_point m_deadline =
      std::chrono::steady_clock::now() + std::chrono::seconds(60);
};

inline const std::string kInventory = vela::InstallRoot() + "share/inventory/inventory.csv";

// Good NEs, to see whether a server serves.
inline std::string SmallInventory() {
  return files::Write("small.csv",
                      "identifier,name,type,address,version,position\n"
                      "9-1,a,RTN-620,10.0.0.1,1.20,\n9-2,b,RTN-620,10.0.0.2,1.20,\n");
}

// Writes conf/NAME below the root; velad finds it there.
inline std::string WriteConfig(const std::string& name, const std::string& keys) {
  files::Write("conf/" + name, keys);
  return name;
}

class Server : public Child {
 public:
  // Slow: a record takes 20 ms, so that the demo's inventory takes minutes.
  explicit Server(const std::string& keys = "AuditRecordMicroseconds = 20000\n")
      : Child({VELA_BIN_DIR "/velad", "-f",
               WriteConfig("test.cfg", "ProcNumber = 100\nHandlerSets = audit, oper, spread\n" + keys)}) {}
  bool Ready() { return Says(out, "ready\n"); }
  static std::string Log() { return files::Read("var/logs/Develop/velad_1/velad.log"); }
};

class Audit : public Child {
 public:
  explicit Audit(const std::string& file, const std::vector<std::string>& options = {})
      : Child(Arguments(file, options)) {}
  bool Runs() { return Says(err, "% Checking"); }

 private:
  static std::vector<std::string> Arguments(const std::string& file,
                                            const std::vector<std::string>& options) {
    std::vector<std::string> arguments = {VELA_BIN_DIR "/velactl", "audit", file};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return arguments;
  }
};

}  // namespace apps_test
